# SPDX-License-Identifier: Apache-2.0
# Bash completion of trxctl: the tool itself tells what can stand there; nothing means a file.
_trxctl() {
  local words
  words=$("${COMP_WORDS[0]}" __complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
  if [[ -n $words ]]; then
    mapfile -t COMPREPLY <<<"$words"
  else
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "${COMP_WORDS[COMP_CWORD]}")
  fi
}
complete -F _trxctl trxctl
