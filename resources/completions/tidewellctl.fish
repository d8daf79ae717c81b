# SPDX-License-Identifier: MIT
# Fish completion for tidewellctl (and its former name, tidewell-x11); installed in fish's
# vendor_completions.d under both names.
set -l program (status basename | string replace -r '\.fish$' '')
set -l commands hide-others show-all toggle list watch
complete -c $program -f
complete -c $program -s h -l help -d 'Print the help and exit'
complete -c $program -s v -l version -d 'Print the version and exit'
complete -c $program -l display -x -d 'Work on this X display'
# (Each value offered carries a description of its own, empty when there is nothing to say:
# fish would repeat the option's beside every one of them.)
complete -c $program -l set -x -a '(__tidewellctl_settings)' -d 'Use a value for a setting in this run'
complete -c $program -l exclude -x -a "(__tidewellctl_applications $program)" -d 'Leave an application alone in this run'
complete -c $program -n "not __fish_seen_subcommand_from $commands" -a hide-others -d 'Hide every application but the file manager and the excluded ones'
complete -c $program -n "not __fish_seen_subcommand_from $commands" -a show-all -d 'Show every hidden application'
complete -c $program -n "not __fish_seen_subcommand_from $commands" -a toggle -d 'Hide a shown application, show and activate a hidden one'
complete -c $program -n "not __fish_seen_subcommand_from $commands" -a list -d 'Print the running applications'
complete -c $program -n "not __fish_seen_subcommand_from $commands" -a watch -d 'Print front switches and read commands'
complete -c $program -n '__fish_seen_subcommand_from toggle' -a "(__tidewellctl_applications $program)"

# The running applications' desktop-entry IDs, as the tool lists them.
function __tidewellctl_applications -a program
    $program list 2>/dev/null | awk 'NR > 1 && $1 != "-" { print $1 "\t" }'
end

# The settings of --set, then, after KEY=, the values the setting takes.
function __tidewellctl_settings
    set -l word (commandline -ct)
    if string match -q '*=*' -- $word
        set -l key (string split -m 1 = -- $word)[1]
        switch $key
            case IconStyle2
                printf '%s\t\n' $key=1 $key=2 $key=4 $key=5
            case HideOthersShortcut ShowAllShortcut
            case '*'
                printf '%s\t\n' $key=YES $key=NO
        end
    else
        printf '%s\t\n' ShowFinder= ShowWindow= Minimize= CloseAllFinder= HideOthersShortcut= \
            ShowAllShortcut= Menubar= IconStyle2= CheckForUpdates=
    end
end
