#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Prepares the root that scripts/power_cuts.py cuts: the packages, the demo rig's modules and host in
# /opt/rig, its root with the tables in /opt/rig/root, to be copied to /data: power_install.sh TREE
set -euo pipefail
tree=$1
rig=$tree/build/armhf-release/examples
dpkg -i "$tree"/build/armhf-release/packages/{libkw-platform,libzqm-trx7,libzqm-trx-recorder,zqm-trx-tools}_*.deb
mkdir -p /opt/rig /data
cp "$rig"/demo_host "$rig"/*.so /opt/rig/
cp -r "$rig/root" /opt/rig/root
cp -r "$tree/examples/tables" /opt/rig/root/tables
sed -i "s|$tree/examples/tables|/data/rig/tables|; s|$rig/root|/data/rig|; s|$rig|/opt/rig|" \
  /opt/rig/root/trx.conf /opt/rig/root/kw/etc/kwpath.conf
cp "$tree/scripts/board/power_guest.sh" /opt/power_guest.sh
