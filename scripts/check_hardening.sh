#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks each library and program in Debian packages, x86-64 and 32-bit ARM: that it is hardened as
# cmake/hardening.cmake asks for, and has no search path of the build: scripts/check_hardening.sh
# PACKAGE... Then lintian must find nothing in them.
set -euo pipefail
tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
failed=0

complain() {
  echo "$1: $2" >&2
  failed=1
}

# The tool alone has a search path: of the folder beside it, where it has libraries of its own.
check_search_path() {
  local path allowed=
  [ "${2##*/}" = trxctl ] && allowed='[$ORIGIN/../lib/trxctl]'
  path=$(readelf -dW "$2" | sed -nE 's/.*\((RPATH|RUNPATH)\).*: (\[.*\])/\2/p')
  [ "$path" = "$allowed" ] || complain "$1" "has the search path $path"
}

check_file() {
  local name=$1 file=$2 header segments dynamic symbols
  header=$(readelf -hW "$file")
  segments=$(readelf -lW "$file")
  dynamic=$(readelf -dW "$file")
  symbols=$(readelf --dyn-syms -W "$file")
  grep -q 'Type: *DYN' <<<"$header" || complain "$name" "does not run at any address"
  grep -q GNU_RELRO <<<"$segments" || complain "$name" "no RELRO"
  grep -q 'GNU_STACK.* RW ' <<<"$segments" || complain "$name" "its stack may be executed"
  grep -qE 'BIND_NOW|Flags:.* NOW' <<<"$dynamic" || complain "$name" "binds symbols when they are called"
  grep -q TEXTREL <<<"$dynamic" && complain "$name" "relocates code"
  grep -q 'UND __stack_chk_fail' <<<"$symbols" || complain "$name" "no stack protector"
  grep -qE 'UND __[a-z]+_chk' <<<"$symbols" || complain "$name" "no FORTIFY"
  if grep -q 'X86-64' <<<"$header" && ! starts_are_marked "$file"; then
    complain "$name" "no CET: exported functions do not start with endbr64"
  fi
  check_search_path "$name" "$file"
}

# Debian's start files have no note of CET, so the linker writes none: the code is looked at, where
# exported functions start, and in a program, which exports none, that there are starts at all.
starts_are_marked() {
  objdump -d --no-show-raw-insn "$1" | awk '
    NR == FNR { exported["0x" $1]; next }
    /^ *[0-9a-f]+:\tendbr64/ { marked++; sub(":", "", $1); at["0x" $1] }
    END { for (e in exported) if (!(e in at)) exit 1; exit marked < 10 }' \
    <(readelf --dyn-syms -W "$1" | awk '$4 == "FUNC" && $7 != "UND" { sub("^0*", "", $2); print $2 }') -
}

for package in "$@"; do
  name=$(basename "$package")
  dpkg-deb -x "$package" "$folder/$name"
  while IFS= read -r file; do
    readelf -h "$file" >/dev/null 2>&1 && check_file "$name ${file##*/}" "$file"
  done < <(find "$folder/$name" -type f)
  grep -rlF "$tree" "$folder/$name" && complain "$name" "names the folder it was built in"
done
# Root may look at packages as well as anybody.
lintian --allow-root --fail-on error,warning "$@" || failed=1
[ "$failed" -eq 0 ] && echo "hardened, and nothing for lintian: $(printf '%s ' "${@##*/}")"
