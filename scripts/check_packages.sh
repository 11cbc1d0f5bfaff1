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

PKG_CONFIG_PATH=$(dirname "$(find "$work/prefix" -name zqm_trx.pc)") \
  pkg-config --exact-version="$(sed -n 's/.*VERSION \([0-9.]*\) LANGUAGES.*/\1/p' "$tree/CMakeLists.txt")" zqm_trx
echo "pkg-config knows the version"
