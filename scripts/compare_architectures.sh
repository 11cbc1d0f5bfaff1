#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the same modules, tables and requests in a build for this machine and in one for the device,
# compares their trace records, and lets the tool of each decode the trace ring of the other:
# scripts/compare_architectures.sh BUILD_FOLDER DEVICE_BUILD_FOLDER
set -euo pipefail
native=$(realpath "$1")
device=$(realpath "$2")
emulate=(qemu-arm -L "$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)/build/armhf-root")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

record() {
  local output=$1
  shift
  rm -rf "$work/files"
  "$@" "$work/files" >"$work/$output"
}
record native "$native/tests/compare/record_trail"
record device "${emulate[@]}" "$device/tests/compare/record_trail"

if ! cmp -s "$work/native" "$work/device"; then
  line=$( (cmp "$work/native" "$work/device" 2>&1 || true) | sed -n 's/.*line \([0-9]*\)$/\1/p')
  echo "The records differ first in line $line, in the part"
  head -n "$line" "$work/native" | grep '^#' | tail -n 1
  echo "here:   $(sed -n "${line}p" "$work/native")"
  echo "device: $(sed -n "${line}p" "$work/device")"
  exit 1
fi
echo "$(grep -c '^[EIDd] ' "$work/native") trace records, of $(grep -c '^#' "$work/native") parts, are the same"

"$native/examples/demo_host" "$native/examples/root" >/dev/null
"${emulate[@]}" "$device/examples/demo_host" "$device/examples/root" >/dev/null
for build in "$native" "$device"; do
  ring=$build/examples/root/trace.ring
  decode() {
    "$@" records --wide "$ring"
    "$@" records --json "$ring"
    "$@" export "$ring" -o "$work/timeline.json"
    cat "$work/timeline.json"
  }
  decode "$native/tools/trxctl/trxctl" >"$work/native"
  decode "${emulate[@]}" "$device/tools/trxctl/trxctl" >"$work/device"
  cmp "$work/native" "$work/device"
  [ "$(grep -c ' error ' "$work/native")" -gt 0 ]
done
echo "the rings of both are decoded the same on both"
