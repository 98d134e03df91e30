# Completion of trelvikctl for fish: the program itself knows what may come next.
complete -c trelvikctl -f -a '(trelvikctl __complete (commandline -opc)[2..-1] (commandline -ct) 2>/dev/null)'
complete -c trelvikctl -n '__fish_seen_subcommand_from decode' -F
complete -c trelvikctl -n '__fish_seen_subcommand_from send' -l file -r -F
