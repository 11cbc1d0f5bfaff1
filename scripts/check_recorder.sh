#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Records a host of a foreign platform that knows nothing of rings, with the recorder preloaded and
# with the recorder linked, and lets the tool tell its story:
#   CXX=COMPILER scripts/check_recorder.sh BUILD LIBRARIES HEADERS MODULE TOOL [LAUNCHER...]
# BUILD is that of the engine and the recorder for this platform, LIBRARIES the folders of all
# libraries, HEADERS the folder of those of the platform, MODULE that of the fan; LAUNCHER runs programs
# of another machine.
set -euo pipefail
tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$1 libraries=$2 headers=$3 module=$4 tool=$5
shift 5
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

mkdir -p "$work/root/kw/etc"
echo "path.trx.conf=/trx.conf" >"$work/root/kw/etc/kwpath.conf"
printf '%s\n' hapmodule.number=1 "hapmodule.file.0=$module" haptable.number=1 \
  "haptable.file.0=$work/fan.csv" >"$work/root/trx.conf"
printf '%s\n' FORMAT,00 VERSION,01 ,1,START ,2,HAP,FAN_SetSpeed,,,32 ,3,HAP,FAN_SetSpeed,,,fff ,4,END \
  >"$work/fan.csv"

build_host() {
  local host=$1 folder flags=(-std=c++17)
  shift
  for folder in ${libraries//:/ }; do
    flags+=(-L "$folder")
    # As the platform was built.
    ! [ -e "$folder/libforeign_platform.so" ] ||
      nm -D "$folder/libforeign_platform.so" | grep -q _ZTIN2kw3trx6hapapi6HAPAPIE ||
      flags+=(-fno-rtti)
  done
  "${CXX:-c++}" "${flags[@]}" -I "$tree/include" -I "$headers" \
    "$tree/tests/foreign_platform/recorder_host.cc" -o "$host" "$@"
}

# Runs a host; the words before -- are its environment.
run() {
  local environment=("LD_LIBRARY_PATH=$libraries" "FOREIGN_ROOT=$work/root")
  while [ "$1" != -- ]; do environment+=("$1") && shift; done
  shift
  env "${environment[@]}" "$@" >"$work/output" 2>"$work/errors"
  # The loader of the launcher, which is one of another machine, cannot preload the recorder.
  grep -v 'wrong ELF class' "$work/errors" && return 1
  sed -n 's/^trace .* \([0-9a-f]*\) -*[0-9]*$/\1/p' "$work/output"
}

# What the ring $1 has and what it tells, against what the platform got.
check_ring() {
  diff <(printf '%s\n' "$records") "$work/records"
  "$tool" records --json "$1" | sed 's/.*"id":"0x\([0-9a-f]*\)".*/\1/' | diff "$work/records" -
  "$tool" requests "$1" |
    sed 's/^.*[0-9a-f]\.[0-9]*  //; s/ on [^:]*:/:/; s/: failed.*/: failed/' | sort | diff "$work/story" -
  rm "$1"
}

printf '%s\n' 'HAP FAN_SetSpeed: failed' 'HAP FAN_SetSpeed: succeeded' 'table fan: failed' 'table none: failed' \
  >"$work/story"
ring=$work/trace.ring
recorder=$(find "$build" -name libzqm_trx_recorder.so)
build_host "$work/host" -lzqm_trx -lforeign_platform
build_host "$work/linked" -lzqm_trx "$recorder" -lforeign_platform
records=$(run A= -- "$@" "$work/host")
[ "$(wc -l <<<"$records")" -gt 20 ]
run "LD_PRELOAD=$recorder" "ZQM_TRX_RECORD_FILE=$ring" -- "$@" "$work/host" >"$work/records"
check_ring "$ring"
LD_LIBRARY_PATH=$libraries:$(dirname "$recorder")
libraries=$LD_LIBRARY_PATH run "ZQM_TRX_RECORD_FILE=$ring" -- "$@" "$work/linked" >"$work/records"
check_ring "$ring"
if [ $# = 0 ]; then
  run A= -- "$tool" record -o "$ring" -- "$work/host" >"$work/records"
  check_ring "$ring"
fi
echo "a host of the platform is recorded, and the tool tells its story"
