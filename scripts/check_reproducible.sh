#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the release of these sources a second time, in another folder, and compares its Debian
# packages byte for byte with those of a build: scripts/check_reproducible.sh BUILD_FOLDER. Both have
# to be of the same sources, and compiled without a cache: ccache gives back objects that were made with
# other precompiled headers.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=$(realpath "$1")
folder=$PWD/build/reproducible
rm -rf "$folder"
trap 'rm -rf "$folder"' EXIT
: "${SOURCE_DATE_EPOCH:=$(git log -1 --format=%ct)}"
export SOURCE_DATE_EPOCH CCACHE_DISABLE=1

copy="$folder/another place"
mkdir -p "$copy"
git ls-files -z --cached --others --exclude-standard | tar -c --null -T - | tar -x -C "$copy"
for tree in "$PWD" "$copy"; do
  log=$folder/log
  if [ "$tree" = "$copy" ]; then
    build=$copy/build/release
    # Another user's rights for new files must make no difference either.
    (umask 027; cd "$copy"
      cmake --preset release && cmake --build --preset release -j "${JOBS:-$(nproc)}") >"$log" 2>&1 ||
      { cat "$log"; exit 1; }
  fi
  (umask 022; [ "$tree" != "$copy" ] || umask 027
    cpack --config "$build/CPackConfig.cmake" -B "$folder/packages of ${tree##*/}") >"$log" 2>&1 ||
    { cat "$log"; exit 1; }
done
one="$folder/packages of ${PWD##*/}"
other="$folder/packages of another place"
same=0
for package in "$one"/*.deb; do
  cmp "$package" "$other/${package##*/}" || { echo "${package##*/} differs"; same=1; }
done
[ "$same" -eq 0 ] && echo "the packages of two builds in two folders are the same byte for byte"
