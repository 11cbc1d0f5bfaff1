#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Unpacks a Debian for 32-bit ARM, its kernel included, into build/board: the root of the board that
# scripts/board.sh boots. apt works on lists below that folder, as in scripts/armhf_root.sh; no
# program of the root runs here.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/setup.sh

board=$PWD/build/board
root=$board/root
packages=(base-files base-passwd bash busybox-static coreutils dash diffutils dpkg findutils gawk grep gzip
  kmod libc-bin libelf1 libgcc-s1 libstdc++6 procps sed tar util-linux mount zlib1g)
if [ "$(cat "$board/packages" 2>/dev/null)" = "${packages[*]}" ]; then
  exit 0
fi
step "unpacking a $(debian_release) for armhf with its kernel into build/board"
rm -rf "$board"
apt=$board/apt
mkdir -p "$apt/lists/partial" "$apt/archives/partial" "$root/var/lib/dpkg/info" "$board/kernel"
touch "$apt/status"

own_apt() {
  (cd "$apt/archives" && apt-get -qq -o Dir::State="$apt" -o Dir::State::status="$apt/status" \
    -o Dir::Cache="$apt" -o Dir::Etc::sourcelist="$apt/sources.list" -o Dir::Etc::sourceparts=- \
    -o APT::Architecture=armhf -o APT::Architectures::=armhf -o APT::Sandbox::User= "$@")
}
echo "deb $(debian_mirror) $(debian_release) main" >"$apt/sources.list"
own_apt update
own_apt install --download-only -y --no-install-recommends "${packages[@]}"
kernel=$(apt-cache -o Dir::State="$apt" -o Dir::State::status="$apt/status" -o Dir::Cache="$apt" \
  -o APT::Architecture=armhf -o APT::Architectures::=armhf depends linux-image-armmp |
  sed -n 's/^ *Depends: \(linux-image-[0-9].*\)/\1/p')
own_apt download "$kernel"
mv "$apt/archives/$kernel"_*.deb "$board/kernel.deb"

# Unpacked and entered as installed: their scripts would have to run on the board.
status=$root/var/lib/dpkg/status
touch "$status"
for package in "$apt"/archives/*.deb; do
  dpkg-deb -x "$package" "$root"
  name=$(dpkg-deb -f "$package" Package)
  { echo "Status: install ok installed"; dpkg-deb -f "$package"; echo; } >>"$status"
  dpkg-deb --fsys-tarfile "$package" | tar -t | sed -E 's|^\.||; s|(.)/$|\1|; s|^/$|/.|' \
    >"$root/var/lib/dpkg/info/$name.list"
done
dpkg-deb -x "$board/kernel.deb" "$board/kernel"
rm -r "$apt" "$board/kernel.deb"
mkdir -p "$root"/{proc,sys,dev,run,tmp,root,results}
chmod 1777 "$root/tmp"
cp "$root/usr/share/base-passwd/passwd.master" "$root/etc/passwd"
cp "$root/usr/share/base-passwd/group.master" "$root/etc/group"
[ -e "$root/bin/sh" ] || ln -s dash "$root/bin/sh"
ln -sf gawk "$root/usr/bin/awk"
echo "${packages[*]}" >"$board/packages"
