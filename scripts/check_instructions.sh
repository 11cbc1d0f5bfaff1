#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Counts the instructions of one top-level HAP request, one table row with a HAP, one trace record and
# one row of a table that is loaded, under valgrind, and compares them with bench/kept_instructions.txt:
#   scripts/check_instructions.sh [--update] [BUILD_FOLDER]
# More than 5 % up fails and tells which functions grew; --update keeps the new counts instead. A
# count is the difference of runs of N and of 2N, so start-up is no part of it. The counts are those
# of the compiler and C library named in the file; with others nothing is compared.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/setup.sh

update=
if [ "${1:-}" = --update ]; then
  update=yes
  shift
fi
build=${1:-build/bench}
kept=bench/kept_instructions.txt
max_growth_percent=5
count=2000
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# String functions of the C library that every machine has, so that all count the same.
export GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX2,-AVX512F,-AVX512VL,-AVX512BW,-BMI2,-ERMS,-FSRM

build_probe() {
  local log=$build/instructions.log
  mkdir -p "$build"
  if ! { cmake --preset release -B "$build" -DZQM_TRX_BENCH=ON &&
    cmake --build "$build" --target instruction_probe -j "${JOBS:-$(nproc)}"; } >"$log" 2>&1; then
    cat "$log"
    return 1
  fi
}

# "instructions TAB function" of a run of work $1, $2 times.
functions_of_run() {
  local out=$work/$1.$2
  if ! valgrind --tool=callgrind --callgrind-out-file="$out" \
    "$build/bench/instruction_probe" "$1" "$2" >"$out.log" 2>&1; then
    cat "$out.log" >&2
    return 1
  fi
  callgrind_annotate --threshold=100 --show-percs=no "$out" |
    sed -nE "s/^ *([0-9,]+)  [^:]*:(.*)\$/\1\t\2/p" |
    sed -E "s/ \[[^]]*\]\$//; s/'2\$//" |
    awk -F'\t' '{ gsub(",", "", $1); sum[$2] += $1 } END { for (f in sum) print sum[f] "\t" f }'
}

# "work TAB instructions of one TAB function", the sum first as "(all)", functions of 1 % at least.
count_work() {
  functions_of_run "$1" "$count" >"$work/once"
  functions_of_run "$1" $((2 * count)) >"$work/twice"
  awk -F'\t' -v work="$1" -v count="$count" '
    NR == FNR { once[$2] = $1; next }
    { grown = $1 - once[$2]; if (grown > 0) { each[$2] = grown / count; all += grown / count } }
    END {
      printf "%s\t%.1f\t(all)\n", work, all
      for (f in each) if (each[f] >= all / 100) printf "%s\t%.1f\t%s\n", work, each[f], f
    }' "$work/once" "$work/twice" | sort -t"$(printf '\t')" -k2,2nr -k3
}

count_all() {
  echo "# Instructions of one operation each; made by scripts/check_instructions.sh --update with"
  echo "# $(c++ --version | head -n1), $(ldd --version | head -n1)."
  local kind
  for kind in request row record load; do
    count_work "$kind"
  done
}

# Prints the comparison; fails when one of the sums grew too much.
compare() {
  awk -F'\t' -v max="$max_growth_percent" '
    /^#/ { next }
    NR == FNR { kept[$1 "\t" $3] = $2; next }
    { now[$1 "\t" $3] = $2 }
    $3 == "(all)" {
      if (!(($1 "\t(all)") in kept)) { print $1 ": no count is kept"; failed = 1; next }
      growth = 100 * ($2 / kept[$1 "\t(all)"] - 1)
      printf "%s: %.1f instructions, kept %.1f (%+.1f %%)\n", $1, $2, kept[$1 "\t(all)"], growth
      if (growth > max) { failed = 1; slower[$1] = 1 }
    }
    END {
      for (key in now) {
        split(key, part, "\t")
        if (part[1] in slower && part[2] != "(all)" && now[key] > kept[key]) {
          printf "  %s grew by %.1f to %.1f: %s\n", part[1], now[key] - kept[key], now[key], part[2]
        }
      }
      exit failed
    }' "$kept" "$1"
}

step "installing what is missing"
install_missing "${packages_build[@]}" "${packages_count[@]}"
step "building the probe into $build"
build_probe
step "counting instructions"
count_all >"$work/counted"
if [ -n "$update" ]; then
  cp "$work/counted" "$kept"
  grep -F '(all)' "$kept"
elif ! diff -q <(grep '^#' "$kept") <(grep '^#' "$work/counted") >/dev/null; then
  echo "Not compared: the counts were kept with another compiler or C library than those here."
elif ! compare "$work/counted"; then
  echo "More than $max_growth_percent % up. When that is meant: scripts/check_instructions.sh --update"
  exit 1
fi
