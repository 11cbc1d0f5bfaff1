#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Prints what the engine takes on the device: the size of its stripped library, and the memory that
# bench/footprint.cc holds under emulation. Builds into build/armhf-bench.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/setup.sh
install_missing "${packages_build[@]}" "${packages_armhf[@]}"
build=build/armhf-bench
mkdir -p "$build"
{ cmake --preset armhf-release -B "$build" -DZQM_TRX_BENCH=ON -DZQM_TRX_TOOLS=OFF -DZQM_TRX_EXAMPLES=OFF &&
  cmake --build "$build" --target footprint; } >"$build/build.log" 2>&1 || { cat "$build/build.log"; exit 1; }

library=$build/stripped.so
arm-linux-gnueabihf-strip -o "$library" "$build/src/libzqm_trx.so.7"
echo "| what | size |"
echo "| --- | --- |"
arm-linux-gnueabihf-size "$library" | awk 'NR == 2 {
  print "| code and constants of the engine | " $1 " bytes |"
  print "| its data, initialised and zero | " $2 " bytes and " $3 " bytes |" }'
echo "| the file | $(stat -c %s "$library") bytes |"
qemu-arm -L /usr/arm-linux-gnueabihf "$build/bench/footprint"
