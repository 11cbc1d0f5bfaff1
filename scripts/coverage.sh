#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the tests and prints how much of the lines and branches of src/, platform/standin/, ring/ and tools/
# they reach, file by file and of each of these folders and rooms of the tool together, and then each branch that
# goes one way alone, except those of the tool. What a process does that is killed or leaves by _exit is not
# counted, such as what `trxctl test` does in its worker processes.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/setup.sh
install_missing "${packages_build[@]}" "${packages_test[@]}" "${packages_coverage[@]}"

step "building into build/coverage"
build_quietly coverage
profiles=$PWD/build/coverage/profiles
rm -rf "$profiles"
mkdir "$profiles"
step "running the tests of build/coverage"
# Not judged here: the counting allocates memory and exports symbols of its own, which some tests see.
LLVM_PROFILE_FILE="$profiles/%4m.profraw" ctest --preset coverage -j "$(nproc)" --progress \
  >build/coverage/tests.log 2>&1 || true

profile=build/coverage/tests.profdata
llvm-profdata merge -sparse -o "$profile" "$profiles"/*.profraw
# Prints what llvm-cov's command $1 says of libraries, tool and tests of its rooms; what follows are options and
# folders.
measured() {
  local command=$1
  shift
  llvm-cov "$command" -instr-profile="$profile" build/coverage/src/libzqm_trx.so \
    -object build/coverage/platform/standin/libkw_platform.so -object build/coverage/tools/trxctl/trxctl \
    -object build/coverage/tests/tools/tools_test "$@"
}

for part in src platform/standin ring tools/*/; do
  step "lines and branches of ${part%/}"
  measured report -show-region-summary=false "$part" 2>/dev/null | awk '
    NF == 10 && $2 ~ /^[0-9]+$/ {
      printf "%-34s %5d lines %8s   %4d branches %8s\n", $1, $5, $7, $8, $10
    }'
done
step "branches that go one way alone: file, line, column, and how often each way"
measured show -show-branches=count src platform/standin ring 2>/dev/null | awk -v root="$PWD/" '
  /^\/.*:$/ { file = substr($0, length(root) + 1) }
  /Branch \(/ && /(True|False): 0[],]/ { sub(/^.*Branch /, ""); print file " " $0 }' | sort -u
