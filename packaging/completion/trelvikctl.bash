# Completion of trelvikctl for bash: the program itself knows what may come next.
_trelvikctl() {
  local IFS=$'\n'
  COMPREPLY=($("${COMP_WORDS[0]}" __complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null))
  # A field's name waits for its value.
  [[ ${COMPREPLY[0]:-} != *= ]] || compopt -o nospace 2>/dev/null
}
complete -o default -F _trelvikctl trelvikctl
