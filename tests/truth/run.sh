#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Compares what trxctl prints of rings with what random hosts did: tests/truth/run.sh [OPTION...]
# The options are those of compare.py. BUILD names the folder of the build, build/dev unless set.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
build=${BUILD:-$here/../../build/dev}
build=$(cd "$build" && pwd)
emulator=$(tr ";" " " <"$build/tests/truth/emulator")
exec python3 -B "$here/compare.py" --host "$build/tests/truth/truth_host" \
  --module "$build/tests/truth/libzq_hap_tru.so" --trxctl "$build/tools/trxctl/trxctl" \
  --emulator "$emulator" "$@"
