#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the engine and runs the demo rig: ./demo.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
. scripts/setup.sh

install_missing "${packages_build[@]}"

step "building into build/release"
build_quietly release

rig=build/release/examples
step "running the demo host: HAPs and tables that succeed and that fail"
"$rig/demo_host" "$PWD/$rig/root"

trxctl=build/release/tools/trxctl/trxctl
step "its tables, checked without a finding, and drawn in $rig/selftest.svg"
"$trxctl" check --root "$rig/root" examples/tables/*.csv
"$trxctl" graph examples/tables/selftest.csv examples/tables/rails.csv --format svg \
  -o "$rig/selftest.svg"

step "one of them, run by the tool without the demo host"
"$trxctl" table rails --root "$rig/root" --unit 300:2:rack/rail2

step "the same desk without the rig: a run with a failure, and the cases of the tables"
if "$trxctl" simulate examples/tables/selftest.csv examples/tables/rails.csv --fail rails/2=20003; then
  exit 1
fi
"$trxctl" test examples/tables/*.cases.csv

step "a case that expects too much, and what differs"
printf 'TABLES,%s\nCASE,a rail out of its limits does no harm\nHAP,rails/2,fail 20003\nEND,ok\n' \
  "$PWD/examples/tables/selftest.csv,$PWD/examples/tables/rails.csv" >"$rig/wrong.cases.csv"
if "$trxctl" test "$rig/wrong.cases.csv"; then
  exit 1
fi

step "what no run of the tables may do, with the shortest run that does it"
if "$trxctl" explore examples/tables/selftest.csv examples/tables/rails.csv --deny swallowed=rails/3 |
  sed '/^# message/,$d'; then
  exit 1
fi

step "what must hold for every run, judged by all of them"
"$trxctl" explore examples/tables/selftest.csv examples/tables/rails.csv --strict \
  --rules examples/tables/selftest.cases.csv | grep '^# table'

step "what an edit changes in all runs: the wait of the selftest, and its mark"
rm -rf "$rig/edited" && mkdir "$rig/edited" && cp examples/tables/*.csv "$rig/edited"
sed -i -e 's/,4,WAIT,,100/,4,WAIT,,150/' -e 's/,5,HAP,ADC_Expect,,STACK/,5,HAP,ADC_Expect,,NOP/' \
  "$rig/edited/selftest.csv"
if "$trxctl" compare examples/tables "$rig/edited"; then
  exit 1
fi

step "how good the cases are: faults put into the tables one by one"
if "$trxctl" test examples/tables/init.cases.csv --mutants; then
  exit 1
fi

step "cases for what those there do not take"
"$trxctl" test examples/tables/init.cases.csv --write-missing

step "what the cases run, coloured in $rig/coverage.svg"
"$trxctl" coverage examples/tables/*.cases.csv -o "$rig/tables.info"
"$trxctl" graph examples/tables/selftest.csv examples/tables/rails.csv "$rig/tables.info" \
  -o "$rig/coverage.svg"

step "what the demo host ran, counted and timed in $rig/runs.svg"
"$trxctl" graph --root "$rig/root" "$rig/root/trace.ring" -o "$rig/runs.svg"

step "its requests that failed, from $rig/root/trace.ring"
"$trxctl" requests --failed --root "$rig/root" "$rig/root/trace.ring"

step "its trace, decoded: errors and infos"
"$trxctl" records --level info "$rig/root/trace.ring"
