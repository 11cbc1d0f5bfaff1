#compdef trxctl
# SPDX-License-Identifier: Apache-2.0
# Zsh completion of trxctl: the tool itself tells what can stand there; nothing means a file.
_trxctl() {
  local -a offered
  offered=(${(f)"$(${words[1]} __complete "${(@)words[2,CURRENT]}" 2>/dev/null)"})
  if (( ${#offered} )); then
    compadd -a offered
  else
    _files
  fi
}
_trxctl "$@"
