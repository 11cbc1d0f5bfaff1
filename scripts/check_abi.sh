#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compares the binary interface of the engine with that of the last release, whose descriptions are
# kept in abi/, for x86-64 and 32-bit ARM: scripts/check_abi.sh [--update]. Any change but an addition
# fails; --update keeps the present interface instead, as that of a release. The engine is built for
# it without whole-program optimisation, which takes debug information away.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/setup.sh
install_missing "${packages_build[@]}" "${packages_armhf[@]}" "${packages_abi[@]}"
soname=libzqm_trx.so.7

# Builds the engine into build/$1; what follows goes to the configuration.
build_engine() {
  local build=build/$1
  shift
  mkdir -p "$build"
  { cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=ABI "-DCMAKE_CXX_FLAGS_ABI=-O2 -g" \
    -DZQM_TRX_TESTS=OFF -DZQM_TRX_TOOLS=OFF -DZQM_TRX_EXAMPLES=OFF "$@" &&
    cmake --build "$build" --target zqm_trx; } >"$build/build.log" 2>&1 ||
    { cat "$build/build.log"; return 1; }
}

describe() {
  abidw --suppressions abi/not_ours.suppr --exported-interfaces-only --drop-undefined-syms \
    --no-corpus-path --no-comp-dir-path --no-show-locs --no-parameter-names "$1/src/$soname"
}

# Compares or keeps the interface of build/$1 under the name of the architecture $2.
judge() {
  local kept=abi/$soname.$2.abi.gz now=build/$1/now.abi released=build/$1/released.abi
  describe "build/$1" >"$now"
  if [ -n "$update" ]; then
    gzip -9n <"$now" >"$kept"
    echo "kept in $kept"
    return
  fi
  gzip -dc "$kept" >"$released"
  abidiff --suppressions abi/engine_only.suppr --no-added-syms --no-unreferenced-symbols \
    "$released" "$now"
  echo "the binary interface for $2 is that of the last release, or adds to it"
}

update=
[ "${1:-}" != --update ] || update=yes
build_engine abi
judge abi x86-64
build_engine abi-armhf --toolchain "$PWD/cmake/armhf.cmake"
judge abi-armhf armhf
