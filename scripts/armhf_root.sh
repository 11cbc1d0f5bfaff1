#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Unpacks the Debian packages for 32-bit ARM that the tool is built with and runs with into
# build/armhf-root, where cmake/armhf.cmake looks for them. apt works on lists below that folder; the
# machine's own lists, packages and architectures stay as they are.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/setup.sh

root=$PWD/build/armhf-root
packages=(libc6 libc-bin libgcc-s1 libstdc++6 libelf1 libelf-dev zlib1g libcli11-dev nlohmann-json3-dev)
if [ "$(cat "$root/packages" 2>/dev/null)" = "${packages[*]}" ]; then
  exit 0
fi
step "unpacking ${packages[*]} for armhf into build/armhf-root"
rm -rf "$root"
info=$root/var/lib/dpkg/info
mkdir -p "$root/apt/lists/partial" "$root/apt/archives/partial" "$info"
status=$root/var/lib/dpkg/status
touch "$status"

# apt for armhf, with lists of its own: of the release, as the cross compiler's libraries are.
own_apt() {
  (cd "$root/apt/archives" && apt-get -qq -o Dir::State="$root/apt" -o Dir::State::status="$status" \
    -o Dir::Cache="$root/apt" -o Dir::Etc::sourcelist="$root/apt/sources.list" \
    -o Dir::Etc::sourceparts=- -o APT::Architecture=armhf -o APT::Architectures::=armhf \
    -o APT::Sandbox::User= "$@")
}
echo "deb $(debian_mirror) $(debian_release) main" >"$root/apt/sources.list"
own_apt update
own_apt download "${packages[@]}"

# What dpkg would know of them, with the files where they lie here, so that the packages made with
# this folder name what they depend on.
for package in "$root"/apt/archives/*.deb; do
  dpkg-deb -x "$package" "$root"
  name=$(dpkg-deb -f "$package" Package)
  dpkg-deb --fsys-tarfile "$package" | tar -t | sed -n "s|^\./\(.*[^/]\)$|$root/\1|p" >"$info/$name.list"
  dpkg-deb -I "$package" symbols >"$info/$name.symbols" 2>/dev/null || rm "$info/$name.symbols"
  dpkg-deb -I "$package" shlibs >"$info/$name.shlibs" 2>/dev/null || rm "$info/$name.shlibs"
  { echo "Status: install ok installed"; dpkg-deb -f "$package"; echo; } >>"$status"
done
rm -r "$root/apt"
echo "${packages[*]}" >"$root/packages"
