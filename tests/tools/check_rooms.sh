#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Refuses what a room of the tool may not include: check_rooms.sh SOURCE_FOLDER
#
# A room sees itself, the rooms before it in tools/CMakeLists.txt, the public headers and src/shared/.
cd "$1/tools" || exit 2
seen= status=0
for room in $(sed -n 's/^foreach(room \(.*\))$/\1/p' CMakeLists.txt) trxctl; do
  seen="$seen|$room"
  wrong=$(grep -n '#include "' "$room"/*.h "$room"/*.cc | grep -vE "\"(kw|zqm_trx$seen)/")
  if [ -n "$wrong" ]; then
    echo "$wrong"
    status=1
  fi
done
test -n "${seen#|trxctl}" || status=2
exit $status
