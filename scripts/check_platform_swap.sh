#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the engine against another implementation of the platform interfaces, which shares no source
# with the stand-in, and runs a HAP and a table on it: scripts/check_platform_swap.sh MODULE
# MODULE is libzq_hap_fan.so of the demo rig: a module is the same file on either platform.
set -euo pipefail
tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
module=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake -S "$tree" -B "$work/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DZQM_TRX_PLATFORM="$tree/tests/foreign_platform" >/dev/null
cmake --build "$work/build" >/dev/null

mkdir -p "$work/root/kw/etc"
echo "path.trx.conf=/trx.conf" >"$work/root/kw/etc/kwpath.conf"
printf '%s\n' hapmodule.number=1 "hapmodule.file.0=$module" haptable.number=1 \
  "haptable.file.0=$work/fan.csv" >"$work/root/trx.conf"
printf '%s\n' FORMAT,00 VERSION,01 ,1,START ,2,HAP,FAN_SetSpeed,,,32 ,3,END >"$work/fan.csv"

LD_LIBRARY_PATH="$work/build/src:$work/build/platform" FOREIGN_ROOT="$work/root" \
  "$(find "$work/build" -name foreign_host -type f)" >"$work/output"
# One HAP by name and one by a table row, each noticed by the API object; the table's END row.
[ "$(grep -c '^begin$' "$work/output")" = 2 ] && [ "$(grep -c '^end$' "$work/output")" = 2 ]
grep -q '^trace 101 8001 e000001 16$' "$work/output"
grep -q '^speed before 0$' "$work/output"
echo "engine built and run on another platform library"
