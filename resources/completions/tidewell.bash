# SPDX-License-Identifier: MIT
# Bash completion for tidewell, tidewellctl (and its former name tidewell-x11) and
# tidewell-helper; installed under each program's name in bash-completion's completions folder.

# The settings that tidewellctl --set changes for one run.
_tidewell_settings="ShowFinder= ShowWindow= Minimize= CloseAllFinder= HideOthersShortcut= ShowAllShortcut= Menubar= IconStyle2= CheckForUpdates="

# The values tidewellctl --set takes for the setting $1 (none listed for the shortcuts).
_tidewell_values() {
    case $1 in
    IconStyle2) echo "1 2 4 5" ;;
    HideOthersShortcut | ShowAllShortcut) ;;
    *) echo "YES NO" ;;
    esac
}

_tidewell() {
    local cur=${COMP_WORDS[COMP_CWORD]}
    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "--help --version --hide-all --show-all --status" -- "$cur"))
    else
        COMPREPLY=($(compgen -W "x-tidewell-action://preferences" -- "$cur"))
    fi
}

_tidewell_helper() {
    COMPREPLY=($(compgen -W "--help --version" -- "${COMP_WORDS[COMP_CWORD]}"))
}

_tidewellctl() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
    local program=${COMP_WORDS[0]} command="" i
    # A value after --set KEY=: bash splits the word at '=' (COMP_WORDBREAKS), so the key is
    # the word before the '=' then; a caller that does not split hands over KEY=VALUE whole.
    if [[ $prev == = && ${COMP_WORDS[COMP_CWORD - 3]} == --set ]]; then
        COMPREPLY=($(compgen -W "$(_tidewell_values "${COMP_WORDS[COMP_CWORD - 2]}")" -- "$cur"))
        return
    elif [[ $cur == = && ${COMP_WORDS[COMP_CWORD - 2]} == --set ]]; then
        COMPREPLY=($(compgen -W "$(_tidewell_values "$prev")"))
        return
    elif [[ $prev == --set && $cur == *=* ]]; then
        local key=${cur%%=*} value
        COMPREPLY=()
        for value in $(_tidewell_values "$key"); do
            [[ $key=$value == "$cur"* ]] && COMPREPLY+=("$key=$value")
        done
        return
    fi
    case $prev in
    --set)
        compopt -o nospace 2>/dev/null
        COMPREPLY=($(compgen -W "$_tidewell_settings" -- "$cur"))
        return ;;
    --display) COMPREPLY=() && return ;;
    --exclude)
        COMPREPLY=($(compgen -W "$("$program" list 2>/dev/null | awk 'NR > 1 && $1 != "-" { print $1 }')" -- "$cur"))
        return ;;
    esac
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
        --set | --display | --exclude) ((i++)) ;;
        -*) ;;
        *) command=${COMP_WORDS[i]} && break ;;
        esac
    done
    if [[ $command == toggle ]]; then
        COMPREPLY=($(compgen -W "$("$program" list 2>/dev/null | awk 'NR > 1 && $1 != "-" { print $1 }')" -- "$cur"))
    elif [[ -n $command ]]; then
        COMPREPLY=()
    elif [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "--help --version --display --set --exclude" -- "$cur"))
    else
        COMPREPLY=($(compgen -W "hide-others show-all toggle list watch" -- "$cur"))
    fi
}

complete -F _tidewell tidewell
complete -F _tidewell_helper tidewell-helper
complete -F _tidewellctl tidewellctl tidewell-x11
