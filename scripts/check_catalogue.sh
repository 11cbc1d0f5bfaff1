#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compares the trace ids with their levels and values, and the exception and record codes, with those
# of the last release in abi/catalogue.txt: scripts/check_catalogue.sh [--update]. Others may be added;
# none is renumbered, taken away, or given another level or other values. --update keeps the present
# ones instead, as those of a release. CXX names the compiler that reads the catalogue.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
kept=abi/catalogue.txt

catalogue() {
  "${CXX:-c++}" -E -P -x c++ -I src/shared - <<'EOF' | sed -n 's/"//g; s/ *$//; s/^trace_point /trace /p'
#define ZQM_TRACE_POINT(class_name, operation, constant, id, level, kind, values, sentence) \
  trace_point id level values
#include "zqm_trx/trace_catalogue.def"
EOF
  sed -nE 's/^constexpr unsigned int (k(Code|Record)[A-Za-z]+) = (0x[0-9a-f]+);.*/code \3 \1/p' \
    include/kw/trx/errors.h
}

now=$(catalogue | LC_ALL=C sort)
if [ "${1:-}" = --update ]; then
  printf '%s\n' "$now" >"$kept"
fi
lost=$(LC_ALL=C comm -23 "$kept" <(printf '%s\n' "$now"))
if [ -n "$lost" ]; then
  echo "released, and no longer so:"
  echo "$lost"
  exit 1
fi
echo "$(wc -l <"$kept") released ids and codes are as they were"
