#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the engine against another implementation of the platform interfaces, which shares no source
# with the stand-in and promises nothing beyond the operations that the engine calls, and runs HAPs,
# tables, waits, exclusion and reloads on it: here with the implementation as a folder, and for the
# device with its libraries as a CMake package that was made elsewhere.
set -euo pipefail
tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
foreign=$tree/tests/foreign_platform
module_source=$tree/examples/modules/fan.c
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

build_engine() {
  local build=$1
  shift
  cmake -S "$tree" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release "$@" >/dev/null
  cmake --build "$build" >"$work/log" || { cat "$work/log"; return 1; }
}

# What the host prints on any platform.
expected() {
  hap='host begin, channel 29
host end'
  cat <<EOF
host load: ok
$hap
host speed before 0
host HAP: ok
$hap
host table: 70003, detail 3
$hap
host table goes on: ok
host message ''
host own format: table
$hap
host speed before 50
host HAP that waited: ok
host begin, channel 29
host HAP within a HAP: 7000c, detail 0
host end
host speed before 40
host HAP with the lock: ok
host semaphore 1
host load again: ok
host another table: 70003, detail 1
host table goes on: 7000b, detail 0
host message 'AGAIN'
host API object destroyed
EOF
}

# Runs the host $1 on the module $2 with the libraries in the folders $3; what follows launches it.
run_host() {
  local host=$1 module=$2 libraries=$3
  shift 3
  mkdir -p "$work/root/kw/etc"
  echo "path.trx.conf=/trx.conf" >"$work/root/kw/etc/kwpath.conf"
  printf '%s\n' hapmodule.exec.exclusion.control=on hapmodule.number=1 "hapmodule.file.0=$module" \
    haptable.tblcmd.wait.handler=requester haptable.number=1 "haptable.file.0=$work/fan.csv" \
    >"$work/root/trx.conf"
  local reader trace
  for reader in seek unget; do
    for trace in plain slow failing; do
      printf '%s\n' FORMAT,00 VERSION,01 ,1,START ,2,HAP,FAN_SetSpeed,,,32 ,3,WAIT,,3 \
        jump,4,HAP,FAN_SetSpeed,,jump,32 ,5,END >"$work/fan.csv"
      # In a space of its own: the key of the semaphore is that of the whole system.
      LD_LIBRARY_PATH="$libraries" FOREIGN_ROOT="$work/root" FOREIGN_READER=$reader \
        FOREIGN_TRACE=$trace ipc_space "$@" "$host" "$work/fan.csv" >"$work/output"
      diff <(expected) <(grep '^host ' "$work/output")
      # The records of two END rows, and the class of a HAP's own one.
      [ $trace = failing ] || [ "$(grep -c '^trace 101 8001 7 e00000[01] 16$' "$work/output")" = 2 ]
      [ $trace = failing ] || grep -q '^trace 126 8001 77 abc 8$' "$work/output"
    done
  done
}

ipc_space() {
  if unshare -i true 2>/dev/null; then unshare -i "$@"; else unshare -r -i "$@"; fi
}

check_imports() {
  cmake -DNM="$1" -DLIBRARY="$2" -DKEPT="$tree/tests/engine/imported_symbols.txt" \
    -P "$tree/tests/engine/imported_symbols.cmake"
}

here=$work/here
build_engine "$here" -DZQM_TRX_PLATFORM="$foreign"
platform_headers=$here/platform/include
headers=(-I "$tree/include" -I "$platform_headers")
cc -shared -fPIC -fexceptions "${headers[@]}" "$module_source" -o "$here/libzq_hap_fan.so"
run_host "$(find "$here" -name foreign_host -type f)" "$here/libzq_hap_fan.so" \
  "$here/src:$here/platform"
check_imports nm "$here/src/libzqm_trx.so"
echo "engine built and run on another platform library"
tool=$tree/build/release/tools/trxctl/trxctl
"$tree/scripts/check_recorder.sh" "$here" "$here/src:$here/platform" "$platform_headers" \
  "$here/libzq_hap_fan.so" "$tool"

device=$work/device
compiler=arm-linux-gnueabihf
vendor=$work/vendor
mkdir -p "$vendor" "$device"
hidden=(-std=c++17 -fno-rtti -fvisibility=hidden)
"$compiler-g++" "${hidden[@]}" -shared -fPIC "${headers[@]}" "$foreign/foreign_platform.cc" \
  -o "$vendor/libforeign_platform.so"
cat >"$vendor/ForeignPlatformConfig.cmake" <<EOF
add_library(kw::platform SHARED IMPORTED)
set_target_properties(kw::platform PROPERTIES
  IMPORTED_LOCATION "$vendor/libforeign_platform.so"
  INTERFACE_INCLUDE_DIRECTORIES "$platform_headers")
EOF
build_engine "$device" --toolchain "$tree/cmake/armhf.cmake" \
  -DZQM_TRX_PLATFORM=ForeignPlatform -DForeignPlatform_DIR="$vendor"
"$compiler-gcc" -shared -fPIC -fexceptions "${headers[@]}" "$module_source" \
  -o "$device/libzq_hap_fan.so"
"$compiler-g++" "${hidden[@]}" "${headers[@]}" "$foreign/foreign_host.cc" -o "$device/foreign_host" \
  -L "$device/src" -lzqm_trx -L "$vendor" -lforeign_platform
run_host "$device/foreign_host" "$device/libzq_hap_fan.so" "$device/src:$vendor" \
  qemu-arm -L "/usr/$compiler"
check_imports "$compiler-nm" "$device/src/libzqm_trx.so"
echo "engine built and run for the device on its platform package"
CXX=$compiler-g++ "$tree/scripts/check_recorder.sh" "$device" "$device/src:$vendor" \
  "$platform_headers" "$device/libzq_hap_fan.so" "$tool" qemu-arm -L "/usr/$compiler"
