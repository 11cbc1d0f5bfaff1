#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the demo rig and its tests outside the tree, once against an installed prefix and once against
# the unpacked Debian packages, and runs both: scripts/check_packages.sh BUILD_FOLDER
set -euo pipefail
tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

build_rig_against() {
  local prefix=$1 rig=$2
  cp -r "$tree/examples" "$rig-source"
  cmake -S "$rig-source" -B "$rig" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
  cmake --build "$rig" >/dev/null
  "$rig/demo_host" "$rig/root" >"$rig/output"
  grep -q 'message of the table: SELFTEST_FAILED' "$rig/output"
  ctest --test-dir "$rig" --no-tests=error >"$rig/tests" || { cat "$rig/tests"; return 1; }
  echo "demo rig and its tests built and run against $(basename "$prefix")"
}

cmake --install "$build" --prefix "$work/prefix" >/dev/null
build_rig_against "$work/prefix" "$work/rig-installed"

(cd "$work" && cpack --config "$build/CPackConfig.cmake" -B "$work/packages" >/dev/null)
for package in "$work"/packages/*.deb; do
  dpkg-deb -x "$package" "$work/unpacked"
  echo "package $(basename "$package")"
done
build_rig_against "$work/unpacked/usr" "$work/rig-unpacked"

tool=$work/unpacked/usr/bin/trxctl
LD_LIBRARY_PATH=$(dirname "$(find "$work/unpacked" -name libzqm_trx.so)") "$tool" --version >/dev/null
echo "the tool of its package runs"

version=$(sed -n 's/.*VERSION \([0-9.]*\) LANGUAGES.*/\1/p' "$tree/CMakeLists.txt")
export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$(find "$work/prefix" -name zqm_trx.pc)")
pkg-config --exact-version="$version" zqm_trx
cat >"$work/host.cc" <<EOF
#include "kw/trx/trx.h"
int main() { return kw::trx::trx::TRX::getInstance()->isStopFlag() ? 1 : 0; }
EOF
read -ra flags <<<"$(pkg-config --cflags --libs zqm_trx)"
c++ -std=c++17 "$work/host.cc" "${flags[@]}" -o "$work/host"
LD_LIBRARY_PATH=$(pkg-config --variable=libdir zqm_trx) "$work/host"
echo "a host built with pkg-config runs"
