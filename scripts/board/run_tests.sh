#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Runs on the board the tests that scripts/board_tests.py listed in /results/tests, a process each, and
# leaves of each its output in /results/log/NUMBER and "exit status, seconds" in /results/end/NUMBER.
# Those that use the one system semaphore run after the others, one by one. The listed limits of time
# are for this machine's host, which is some ten times as fast.
mkdir -p /results/log /results/end

# What tests start with the user-mode emulator, qemu-arm -L ROOT PROGRAM, runs here as it is.
mkdir -p /usr/local/bin
printf '#!/bin/sh\nshift 2\nexec "$@"\n' >/usr/local/bin/qemu-arm
chmod +x /usr/local/bin/qemu-arm
export PATH=/usr/local/bin:$PATH

run_test() {
  local number=$1 seconds=$2 folder=$3 command=$4 status=0 before=$EPOCHREALTIME
  (cd "$folder" && eval "exec timeout -k 5 $((seconds * 4)) $command") >"/results/log/$number" 2>&1 || status=$?
  echo "$status $(((${EPOCHREALTIME/./} - ${before/./}) / 1000))" >"/results/end/$number"
}
export -f run_test

# Lines of NUMBER TAB alone|together TAB SECONDS TAB FOLDER TAB COMMAND.
run_those() {
  awk -F'\t' -v how="$1" '$2 == how { printf "%s\n%s\n%s\n%s\n", $1, $3, $4, $5 }' /results/tests |
    xargs -r -d '\n' -n 4 -P "$2" bash -c 'run_test "$@"' run_test
}
run_those together "$(nproc)"
run_those alone 1
