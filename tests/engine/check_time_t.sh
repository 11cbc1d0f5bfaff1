#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Refuses a type whose size changes with that of time_t in public headers and in the files that
# processes share: check_time_t.sh SOURCE_FOLDER. On 32-bit ARM a host may have a time_t of 32 or of 64
# bits, and the engine has another one than it.
cd "$1" || exit 2
headers=$(find include platform/include ring/include testkit/include ring/trace_file.h src/shared -name '*.h')
test -n "$headers" || exit 2
# Comments out, lines kept.
wrong=$(for header in $headers; do
  sed 's|//.*||' "$header" |
    grep -nwE 'time_t|timespec|timeval|itimerspec|itimerval|utimbuf|rusage|struct stat|(sem|shm|msq)id_ds' |
    sed "s|^|$header:|"
done)
test -z "$wrong" && exit 0
echo "$wrong"
exit 1
