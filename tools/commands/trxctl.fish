# SPDX-License-Identifier: Apache-2.0
# Fish completion of trxctl: the tool itself tells what can stand there; nothing means a file.
function __trxctl_offered
  set -l words (commandline -opc) (commandline -ct)
  set -l offered ($words[1] __complete $words[2..-1] 2>/dev/null)
  if test (count $offered) -gt 0
    printf '%s\n' $offered
  else
    __fish_complete_path (commandline -ct)
  end
end
complete -c trxctl -f -a '(__trxctl_offered)'
