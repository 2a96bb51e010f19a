# fish completion for wordloom.
set -l commands add backup complete copy duplicate edit empty-trash eval expand expand-now export group help import library list parse quick-create quick-search remove restore-backup settings shortcut show start sync type undelete versions
set -a commands open-url
complete -c wordloom -f
complete -c wordloom -n "not __fish_seen_subcommand_from $commands" -a "$commands"
complete -c wordloom -l data-dir -r -F -d "the data folder"
complete -c wordloom -l version -d "print the version"
complete -c wordloom -n "__fish_seen_subcommand_from show edit remove undelete duplicate versions expand expand-now copy library" -a "(wordloom complete abbreviations 2>/dev/null)"
complete -c wordloom -l group -x -a "(wordloom complete groups 2>/dev/null)"
complete -c wordloom -l type -x -a "plainText richText markdown code javaScript image"
complete -c wordloom -l trigger -x -a "immediate delimiter manual"
complete -c wordloom -l case -x -a "sensitive insensitive auto"
complete -c wordloom -l match -x -a "exact regex"
complete -c wordloom -n "__fish_seen_subcommand_from group" -a "list add rename remove enable disable"
complete -c wordloom -n "__fish_seen_subcommand_from sync" -a "status now conflicts resolve setup sign-in strategy off"
complete -c wordloom -n "__fish_seen_subcommand_from shortcut" -a check
complete -c wordloom -n "__fish_seen_subcommand_from open-url" -l dry-run -d "say what the link would do"
complete -c wordloom -n "__fish_seen_subcommand_from open-url" -l json -d "print JSON"
complete -c wordloom -n "__fish_seen_subcommand_from complete" -a "abbreviations groups"
