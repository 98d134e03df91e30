#compdef trelvikctl
# Completion of trelvikctl for zsh: the program itself knows what may come next.
local -a candidates fields
candidates=(${(f)"$("${words[1]}" __complete "${(@)words[2,CURRENT]}" 2>/dev/null)"})
fields=(${(M)candidates:#*=})
candidates=(${candidates:#*=})
if (( $#candidates + $#fields )); then
  compadd -- $candidates
  # A field's name waits for its value.
  compadd -S '' -- $fields
else
  _files
fi
