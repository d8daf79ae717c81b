# SPDX-License-Identifier: MIT
# Fish completion for tidewell; installed in fish's vendor_completions.d.
complete -c tidewell -f
complete -c tidewell -s h -l help -d 'Print the help and exit'
complete -c tidewell -s v -l version -d 'Print the version and exit'
complete -c tidewell -l hide-all -d 'Hide every application but the file manager and the excluded ones'
complete -c tidewell -l show-all -d 'Show every application again'
complete -c tidewell -l status -d 'Print what the running Tidewell has handled'
complete -c tidewell -a 'x-tidewell-action://preferences' -d 'Open the preferences'
