#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compares the binary interface of a built library with that of the last release, whose description
# is kept in abi/: scripts/check_abi.sh BUILD_FOLDER, an x86-64 build with debug information. The
# description of a release is made from such a build with
#   abidw --headers-dir include BUILD_FOLDER/src/libzqm_trx.so.7 >abi/libzqm_trx.so.7.abi
set -euo pipefail
tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
baseline=$tree/abi/libzqm_trx.so.7.abi
library=$(realpath "$1")/src/libzqm_trx.so.7

if [ ! -e "$baseline" ]; then
  echo "no release to compare the binary interface with: ${baseline#"$tree/"} does not exist"
elif ! command -v abidiff >/dev/null; then
  echo "the binary interface is not compared: abidiff (package abigail-tools) is missing"
else
  abidiff --no-added-syms --headers-dir2 "$tree/include" "$baseline" "$library"
  echo "the binary interface is that of the last release, or adds to it"
fi
