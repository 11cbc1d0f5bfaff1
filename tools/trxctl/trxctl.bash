# SPDX-License-Identifier: Apache-2.0
# Bash completion of trxctl. Commands and options are asked of the tool itself, whose help lists
# them; everything else is a file.
_trxctl() {
  local current=${COMP_WORDS[COMP_CWORD]} command= word words
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [[ $word != -* ]] && command=$word && break
  done
  case $current:$command in
    -*) words=$("${COMP_WORDS[0]}" $command --help 2>/dev/null | grep -oE -- '--[a-z-]+' | sort -u) ;;
    *:) words=$("${COMP_WORDS[0]}" --help 2>/dev/null | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p') ;;
    *)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return
      ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -F _trxctl trxctl
