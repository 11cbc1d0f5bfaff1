# SPDX-License-Identifier: Apache-2.0
# Bash completion of trxctl. Commands, options and their values are asked of the tool itself, whose
# help lists them; everything else is a file.
_trxctl() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} command= word words=
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [[ $word != -* ]] && command=$word && break
  done
  local help=$("${COMP_WORDS[0]}" $command --help 2>/dev/null)
  case $current:$previous:$command in
    -*) words=$(sed -nE 's/^ +(-[a-zA-Z],)?(--[a-z-]+).*/\2/p' <<<"$help") ;;
    *:--*) words=$(sed -nE "s/^ +(-[a-zA-Z],)?$previous [^{ ]*\{([^}]*)\}.*/\2/p" <<<"$help" 2>/dev/null) ;;
    *:) words=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' <<<"$help") ;;
  esac
  if [[ -n $words ]]; then
    mapfile -t COMPREPLY < <(compgen -W "${words//,/ }" -- "$current")
  else
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}
complete -F _trxctl trxctl
