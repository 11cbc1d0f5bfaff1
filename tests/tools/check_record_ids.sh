#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Refuses record ids in the tool outside of the place that reads them: check_record_ids.sh
# SOURCE_FOLDER
#
# What a record means is decided in tools/trace/event.cc alone. The list of all records and the
# advice on them are about ids themselves. In tools/lint/ faults of files are numbered by the record
# with which the engine refuses a row.
cd "$1" || exit 2
catalogue=src/shared/zqm_trx/trace_catalogue.def
points=$(sed -n 's/^ZQM_TRACE_POINT([^,]*, *[^,]*, *\(k[A-Za-z0-9]*\), .*/trx::\1/p' "$catalogue")
ids=$(sed -n 's/^ZQM_TRACE_POINT([^,]*, *[^,]*, *[^,]*, \(0x[0-9a-f]\{7,\}\), .*/\1/p' "$catalogue")
test -n "$points" && test -n "$ids" || exit 2
wrong=$(printf '%s\n' "$points" $ids trace_catalogue.def |
  grep -rnwFf - --include='*.h' --include='*.cc' tools |
  grep -vE '^tools/(lint/|trace/(event|catalogue|advice)\.cc|commands/explain_command\.cc)')
test -z "$wrong" && exit 0
echo "$wrong"
exit 1
