# Completion of the kvwmi command for bash. What may stand where is the command's own knowledge.
_kvwmi() {
  local current=${COMP_WORDS[COMP_CWORD]} candidates
  candidates=$("${COMP_WORDS[0]}" complete "${COMP_WORDS[@]:1:COMP_CWORD-1}" 2>/dev/null) || return
  mapfile -t COMPREPLY < <(compgen -W "$candidates" -- "$current")
}
complete -F _kvwmi kvwmi
