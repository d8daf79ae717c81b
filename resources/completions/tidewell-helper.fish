# SPDX-License-Identifier: MIT
# Fish completion for tidewell-helper; installed in fish's vendor_completions.d.
complete -c tidewell-helper -f
complete -c tidewell-helper -s h -l help -d 'Print the help and exit'
complete -c tidewell-helper -s v -l version -d 'Print the version and exit'
