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

step "its trace, decoded: errors and infos of $rig/root/trace.ring"
build/release/tools/trxctl/trxctl trace --level info "$rig/root/trace.ring"
