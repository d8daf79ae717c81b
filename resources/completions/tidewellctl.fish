# SPDX-License-Identifier: MIT
# Fish completion for tidewellctl (and its former name, tidewell-x11); installed in fish's
# vendor_completions.d under both names.
set -l program (status basename | string replace -r '\.fish$' '')
set -l commands hide-others show-all toggle list watch
complete -c $program -f
complete -c $program -s h -l help -d 'Print the help and exit'
complete -c $program -s v -l version -d 'Print the version and exit'
complete -c $program -l display -x -d 'Work on this X display'
complete -c $program -l set -x -a 'ShowFinder= ShowWindow= Minimize= CloseAllFinder=' -d 'Use a value for a setting in this run'
complete -c $program -l exclude -x -a "(__tidewellctl_applications $program)" -d 'Leave an application alone in this run'
complete -c $program -n "not __fish_seen_subcommand_from $commands" -a hide-others -d 'Hide every application but the file manager and the excluded ones'
complete -c $program -n "not __fish_seen_subcommand_from $commands" -a show-all -d 'Show every hidden application'
complete -c $program -n "not __fish_seen_subcommand_from $commands" -a toggle -d 'Activate an application, or hide it when it is in front'
complete -c $program -n "not __fish_seen_subcommand_from $commands" -a list -d 'Print the running applications'
complete -c $program -n "not __fish_seen_subcommand_from $commands" -a watch -d 'Print front switches and read commands'
complete -c $program -n '__fish_seen_subcommand_from toggle' -a "(__tidewellctl_applications $program)"

# The running applications' desktop-entry IDs, as the tool lists them.
function __tidewellctl_applications -a program
    $program list 2>/dev/null | awk 'NR > 1 && $1 != "-" { print $1 }'
end
