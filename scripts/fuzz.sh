#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the fuzz targets of build/fuzz, each for $1 seconds and as many at once as there are
# processors; with a second argument that target alone. Inputs that reach something new stay in
# build/fuzz/inputs/TARGET, where the next run takes them up, and findings in
# build/fuzz/findings/TARGET.
set -euo pipefail
self=$(realpath "${BASH_SOURCE[0]}")
cd "$(dirname "$self")/.."

run_target() {
  local seconds=$1 target=$2 inputs findings scratch log
  inputs=build/fuzz/inputs/$target
  findings=build/fuzz/findings/$target
  scratch=build/fuzz/scratch/$target
  log=build/fuzz/$target.log
  mkdir -p "$inputs" "$findings" "$scratch"
  if TMPDIR=$PWD/$scratch "build/fuzz/fuzz/${target}_fuzz" -max_total_time="$seconds" -timeout=10 \
    -print_final_stats=1 -artifact_prefix="$findings/" "$inputs" "fuzz/corpus/$target" \
    >"$log" 2>&1; then
    awk -v target="$target" '
      / cov: / { for (i = 1; i < NF; ++i) if ($i == "cov:") branches = $(i + 1) }
      /number_of_executed_units/ { runs = $2 }
      END { printf "%s: %d runs, %d branches, no finding\n", target, runs, branches }' "$log"
  else
    tail -n 40 "$log"
    echo "$target: a finding, see $log"
    return 1
  fi
  rm -rf "$scratch"
}

if [ $# -eq 2 ]; then
  run_target "$1" "$2"
else
  find fuzz/corpus -mindepth 1 -maxdepth 1 -printf "%f\n" | xargs -P "$(nproc)" -I{} "$self" "$1" {}
fi
