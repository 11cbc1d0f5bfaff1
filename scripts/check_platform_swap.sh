#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the engine against another implementation of the platform interfaces, which shares no source
# with the stand-in, and runs a HAP and a table on it: here with the implementation as a folder, and
# for the device with its libraries as a CMake package that was made elsewhere.
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

# Runs the host $1 on the module $2 with the libraries in the folders $3; what follows launches it.
run_host() {
  local host=$1 module=$2 libraries=$3
  shift 3
  mkdir -p "$work/root/kw/etc"
  echo "path.trx.conf=/trx.conf" >"$work/root/kw/etc/kwpath.conf"
  printf '%s\n' hapmodule.number=1 "hapmodule.file.0=$module" haptable.number=1 \
    "haptable.file.0=$work/fan.csv" >"$work/root/trx.conf"
  printf '%s\n' FORMAT,00 VERSION,01 ,1,START ,2,HAP,FAN_SetSpeed,,,32 ,3,END >"$work/fan.csv"
  LD_LIBRARY_PATH="$libraries" FOREIGN_ROOT="$work/root" "$@" "$host" >"$work/output"
  # One HAP by name and one by a table row, each noticed by the API object; the table's END row.
  [ "$(grep -c '^begin$' "$work/output")" = 2 ] && [ "$(grep -c '^end$' "$work/output")" = 2 ]
  grep -q '^trace 101 8001 e000001 16$' "$work/output"
  grep -q '^speed before 0$' "$work/output"
}

here=$work/here
build_engine "$here" -DZQM_TRX_PLATFORM="$foreign"
platform_headers=$here/platform/include
headers=(-I "$tree/include" -I "$platform_headers")
cc -shared -fPIC -fexceptions "${headers[@]}" "$module_source" -o "$here/libzq_hap_fan.so"
run_host "$(find "$here" -name foreign_host -type f)" "$here/libzq_hap_fan.so" \
  "$here/src:$here/platform"
echo "engine built and run on another platform library"

device=$work/device
compiler=arm-linux-gnueabihf
vendor=$work/vendor
mkdir -p "$vendor" "$device"
"$compiler-g++" -std=c++17 -shared -fPIC "${headers[@]}" "$foreign/foreign_platform.cc" \
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
"$compiler-g++" -std=c++17 "${headers[@]}" "$foreign/foreign_host.cc" -o "$device/foreign_host" \
  -L "$device/src" -lzqm_trx -L "$vendor" -lforeign_platform
run_host "$device/foreign_host" "$device/libzq_hap_fan.so" "$device/src:$vendor" \
  qemu-arm -L "/usr/$compiler"
echo "engine built and run for the device on its platform package"
