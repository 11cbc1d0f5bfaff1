#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the demo rig and its tests outside the tree, once against an installed prefix and once against
# the unpacked Debian packages, and runs both; then the package of the tool alone, as on a board with
# an engine and a platform library of its own: scripts/check_packages.sh BUILD_FOLDER
set -euo pipefail
tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$(cd "$1" && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
work="$folder/a blank"
mkdir "$work"

build_rig_against() {
  local prefix=$1 rig=$2
  cp -r "$tree/examples" "$rig-source"
  cmake -S "$rig-source" -B "$rig" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
  cmake --build "$rig" >/dev/null
  "$rig/demo_host" "$rig/root" >"$rig/output"
  grep -q 'message of the table: SELFTEST_FAILED' "$rig/output"
  ctest --test-dir "$rig" --no-tests=error >"$rig/tests" || { cat "$rig/tests"; return 1; }
  "$prefix/bin/trxctl" check --root "$rig/root" "$tree"/examples/tables/*.csv
  echo "demo rig and its tests built and run against $(basename "$prefix"), with its tool"
}

cmake --install "$build" --prefix "$work/prefix" >/dev/null
build_rig_against "$work/prefix" "$work/rig-installed"

(cd "$work" && cpack --config "$build/CPackConfig.cmake" -B "$work/packages" >/dev/null)
for package in "$work"/packages/*.deb; do
  dpkg-deb -x "$package" "$work/unpacked"
  echo "package $(basename "$package")"
done
"$tree/scripts/bill_of_materials.py" "$work"/packages/*.deb
"$tree/scripts/check_hardening.sh" "$work"/packages/*.deb
build_rig_against "$work/unpacked/usr" "$work/rig-unpacked"

# Libraries of a board in its hosts' path, which the tool must not even look at.
package=$(echo "$work"/packages/zqm-trx-tools_*.deb)
dpkg-deb -x "$package" "$work/tool"
mkdir "$work/board"
for library in libzqm_trx.so.7 libkw_platform.so libzqm_trx_recorder.so; do
  echo "not of the tool" >"$work/board/$library"
done
LD_LIBRARY_PATH=$work/board "$work/tool/usr/bin/trxctl" check "$tree"/examples/tables/*.csv
if [ -n "$(find "$work/tool/usr/lib" -name '*.so*' -not -path '*/trxctl/*')" ] ||
  dpkg-deb -f "$package" Depends | grep -E 'zqm|kw-'; then
  echo "the package of the tool has libraries that hosts find, or needs another one"
  exit 1
fi
ring=$work/recorded.ring
"$work/tool/usr/bin/trxctl" record -o "$ring" -- \
  "$work/rig-unpacked/demo_host" "$work/rig-unpacked/root" >/dev/null
# The records without their times, as that host keeps them itself and as the recorder does.
of_ring() { "$work/tool/usr/bin/trxctl" records --wide --level info "$1" | cut -d' ' -f3-; }
of_ring "$work/rig-unpacked/root/trace.ring" >"$work/own"
of_ring "$ring" >"$work/by_recorder"
grep -q 'HAP PSU_PowerUp' "$work/own"
diff "$work/own" "$work/by_recorder"
echo "the package of the tool works alone, and records a host"

mkdir "$work/kit"
cat >"$work/kit/CMakeLists.txt" <<EOF
cmake_minimum_required(VERSION 3.20)
project(kit LANGUAGES CXX)
find_package(zqm_trx 7 REQUIRED COMPONENTS testkit)
EOF
if cmake -S "$work/kit" -B "$work/kit/build" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON >"$work/lacking" 2>&1; then
  echo "the test kit is found without GoogleTest"
  exit 1
fi
grep -q 'needs GoogleTest' "$work/lacking"
echo "without GoogleTest the package names what the test kit lacks"

version=$(sed -n 's/.*VERSION \([0-9.]*\) LANGUAGES.*/\1/p' "$tree/CMakeLists.txt")
export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$(find "$work/prefix" -name zqm_trx.pc)")
pkg-config --exact-version="$version" zqm_trx
cat >"$work/host.cc" <<EOF
#include "kw/trx/trx.h"
int main() { return kw::trx::trx::TRX::getInstance()->isStopFlag() ? 1 : 0; }
EOF
flags=()
eval "flags=($(pkg-config --cflags --libs zqm_trx))"
c++ -std=c++17 "$work/host.cc" "${flags[@]}" -o "$work/host"
LD_LIBRARY_PATH=$(pkg-config --variable=libdir zqm_trx) "$work/host"
echo "a host built with pkg-config runs"
