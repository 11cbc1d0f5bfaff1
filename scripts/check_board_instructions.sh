#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Counts the instructions of one request, one row, one trace record and one row of a table that is
# loaded, on the board, the kernel's part included, and compares them with
# bench/kept_board_instructions.txt: scripts/check_board_instructions.sh [--update]
# The board counts a nanosecond for each instruction (-icount), so its clock measures them. A count is
# the difference of runs of N and of 2N. More than 5 % up fails; --update keeps the new counts instead.
# They are those of the compiler and kernel named in the file; with others nothing is compared.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/setup.sh

kept=bench/kept_board_instructions.txt
max_growth_percent=5
count=20000
build=build/armhf-bench
install_missing "${packages_build[@]}" "${packages_armhf[@]}" "${packages_board[@]}"
step "building the probe into $build"
mkdir -p "$build"
{ cmake --preset armhf-release -B "$build" -DZQM_TRX_BENCH=ON -DZQM_TRX_TOOLS=OFF -DZQM_TRX_EXAMPLES=OFF &&
  cmake --build "$build" --target instruction_probe -j "${JOBS:-$(nproc)}"; } >"$build/build.log" 2>&1 ||
  { cat "$build/build.log"; exit 1; }

step "counting on the board"
counted=$build/counted_instructions.txt
export BOARD_CPUS=1 BOARD_QEMU='-icount shift=0,align=off,sleep=off' BOARD_RESULTS=$PWD/$build/board
mkdir -p "$BOARD_RESULTS"
scripts/board.sh "
set -e
export TMPDIR=/dev/shm
echo \"# \$(uname -srm)\"
for kind in request row record load; do
  once=\$(setarch -R '$PWD/$build/bench/instruction_probe' \$kind $count)
  twice=\$(setarch -R '$PWD/$build/bench/instruction_probe' \$kind $((2 * count)))
  echo \"\$kind \$(((twice - once) / $count))\"
done" >"$counted"
{ echo "# Instructions of one operation on the board; made by scripts/check_board_instructions.sh --update with"
  echo "# $(arm-linux-gnueabihf-g++ --version | head -n1) on"
  cat "$counted"; } >"$counted.all"

if [ "${1:-}" = --update ]; then
  cp "$counted.all" "$kept"
  cat "$kept"
elif ! diff -q <(grep '^#' "$kept") <(grep '^#' "$counted.all") >/dev/null; then
  echo "Not compared: the counts were kept with another compiler or kernel than those here."
elif ! awk -v max="$max_growth_percent" '
  /^#/ { next }
  NR == FNR { kept[$1] = $2; next }
  { growth = 100 * ($2 / kept[$1] - 1)
    printf "%s: %d instructions, kept %d (%+.1f %%)\n", $1, $2, kept[$1], growth
    if (growth > max) failed = 1; seen++ }
  END { exit failed || seen != 4 }' "$kept" "$counted.all"; then
  echo "More than $max_growth_percent % up. When that is meant: scripts/check_board_instructions.sh --update"
  exit 1
fi
