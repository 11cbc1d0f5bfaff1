#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Tries the packages and the tests of the device build on the board that scripts/board.sh boots, with
# what build/armhf and build/armhf-release hold. ctest counts each test as its own;
# build/board/results/junit.xml has them for other programs.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
results=$PWD/build/board/results
rm -rf "$results"
mkdir -p "$results"
scripts/board_tests.py list build/armhf "$results"
scripts/board.sh "bash '$PWD/scripts/board/suite.sh' '$PWD'"
scripts/board_tests.py collect "$results"
ctest --test-dir "$results" --output-on-failure -j "$(nproc)" | tail -n 40
exit "${PIPESTATUS[0]}"
