#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Makes the Debian packages for 32-bit ARM, the tool among them, in build/armhf-release/packages, with
# what they need from build/armhf-root.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/setup.sh

install_missing "${packages_build[@]}" "${packages_armhf[@]}" lintian python3
scripts/armhf_root.sh
step "building into build/armhf-release"
build_quietly armhf-release
step "making the packages in build/armhf-release/packages"
rm -rf build/armhf-release/packages
root=$PWD/build/armhf-root
# The packages of that folder are what dpkg-shlibdeps looks into.
DPKG_ADMINDIR=$root/var/lib/dpkg DEB_HOST_ARCH=armhf \
  LD_LIBRARY_PATH=$root/lib/arm-linux-gnueabihf:$root/usr/lib/arm-linux-gnueabihf \
  cpack --config build/armhf-release/CPackConfig.cmake >build/armhf-release/packages.log 2>&1 || {
  cat build/armhf-release/packages.log
  exit 1
}
unpacked=$(mktemp -d)
trap 'rm -rf "$unpacked"' EXIT
for package in build/armhf-release/packages/*.deb; do
  echo "$(basename "$package") needs $(dpkg-deb -f "$package" Depends)"
done
dpkg-deb -x build/armhf-release/packages/zqm-trx-tools_*.deb "$unpacked"
echo "its tool, alone, is $(qemu-arm -L "$root" "$unpacked/usr/bin/trxctl" --version)"
DPKG_ADMINDIR=$root/var/lib/dpkg scripts/bill_of_materials.py build/armhf-release/packages/*.deb
scripts/check_hardening.sh build/armhf-release/packages/*.deb
