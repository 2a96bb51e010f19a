# bash completion for wordloom: commands, their options, and snippet abbreviations and group
# names from the library.
_wordloom() {
    local cur prev words cword
    _init_completion || return
    local commands="add backup complete copy duplicate edit empty-trash eval expand expand-now export
        group help import library list parse quick-create quick-search remove restore-backup settings shortcut
        show start sync type undelete versions"
    commands="$commands open-url"
    local command="" data=() i
    for ((i = 1; i < cword; i++)); do
        case ${words[i]} in
            --data-dir) data=(--data-dir "${words[i + 1]}"); ((i++)) ;;
            -*) ;;
            *) command=${words[i]}; break ;;
        esac
    done
    if [[ -z $command ]]; then
        COMPREPLY=($(compgen -W "$commands --data-dir --help --version" -- "$cur"))
        return
    fi
    case $prev in
        --group) mapfile -t COMPREPLY < <(compgen -W "$(wordloom "${data[@]}" complete groups 2>/dev/null)" -- "$cur"); return ;;
        --type) COMPREPLY=($(compgen -W "plainText richText markdown code javaScript image" -- "$cur")); return ;;
        --trigger) COMPREPLY=($(compgen -W "immediate delimiter manual" -- "$cur")); return ;;
        --case) COMPREPLY=($(compgen -W "sensitive insensitive auto" -- "$cur")); return ;;
        --match) COMPREPLY=($(compgen -W "exact regex" -- "$cur")); return ;;
        --content-file|--image|-o|--data-dir) _filedir; return ;;
    esac
    case $command in
        show|edit|remove|undelete|duplicate|versions|expand|expand-now|copy|library)
            if [[ $cur == -* ]]; then
                COMPREPLY=($(compgen -W "--json --label --content --content-file --type --group --trigger --case --match --tag --image --hotkey --force --permanent" -- "$cur"))
            else
                mapfile -t COMPREPLY < <(compgen -W "$(wordloom "${data[@]}" complete abbreviations 2>/dev/null)" -- "$cur")
            fi ;;
        add) COMPREPLY=($(compgen -W "--abbreviation --label --content --content-file --type --group --trigger --case --match --tag --image --hotkey --force" -- "$cur")) ;;
        group) COMPREPLY=($(compgen -W "list add rename remove enable disable --json --parent" -- "$cur")) ;;
        sync) COMPREPLY=($(compgen -W "status now conflicts resolve setup sign-in strategy off --json" -- "$cur")) ;;
        settings) COMPREPLY=($(compgen -W "set --json" -- "$cur")) ;;
        shortcut) COMPREPLY=($(compgen -W "check" -- "$cur")) ;;
        open-url) COMPREPLY=($(compgen -W "--dry-run --json" -- "$cur")) ;;
        complete) COMPREPLY=($(compgen -W "abbreviations groups" -- "$cur")) ;;
        list) COMPREPLY=($(compgen -W "--json --deleted --group" -- "$cur")) ;;
        help) COMPREPLY=($(compgen -W "$commands" -- "$cur")) ;;
        restore-backup) _filedir ;;
        import) _filedir ;;
    esac
}
complete -F _wordloom wordloom
