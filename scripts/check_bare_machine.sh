#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Tries the Debian packages, the demo and the tests as a new user does, in a bare Debian of this
# machine's release: scripts/check_bare_machine.sh BUILD_FOLDER, whose packages it makes. The packages
# are installed with apt alone and removed again, the tool runs, a host and modules are built and
# tested against them; then demo and tests run in a checkout whose path has a blank. It needs root, and
# some 1.5 GB below build/ while it runs.
set -euo pipefail
tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$tree"
. scripts/setup.sh
build=$(realpath "$1")
bare=$tree/build/bare-machine
log=$tree/build/bare-machine.log

if [ "$(id -u)" -ne 0 ]; then
  echo "the bare machine is not tried: that needs root"
  exit 0
fi

# Runs the script of the standard input in the bare machine, with processes, mounts and semaphores of
# its own; the log is shown when it fails.
in_bare_machine() {
  # shellcheck disable=SC2016
  unshare --mount --ipc --pid --fork sh -ec 'mount -t proc proc "$1/proc"; exec chroot "$1" \
    env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root DEBIAN_FRONTEND=noninteractive bash -euo pipefail' \
    sh "$bare" >>"$log" 2>&1 || { tail -n 60 "$log"; return 1; }
}

remove_bare_machine() { rm -rf --one-file-system "$bare"; }
remove_bare_machine
trap remove_bare_machine EXIT
mkdir -p "$bare"
echo >"$log"

step "making a bare $(debian_release) in build/bare-machine"
mirror=$(debian_mirror)
debootstrap --variant=minbase "$(debian_release)" "$bare" "$mirror" >>"$log" 2>&1 ||
  { tail -n 30 "$log"; exit 1; }
debian_sources >"$bare/etc/apt/sources.list"
apt-config dump | grep -E '^Acquire::.*Proxy' >"$bare/etc/apt/apt.conf.d/proxy" || true
cp /etc/resolv.conf /etc/hosts "$bare/etc/"
cpack --config "$build/CPackConfig.cmake" -B "$bare/packages" >>"$log" 2>&1 || { tail -n 30 "$log"; exit 1; }
mkdir "$bare/my src"
git ls-files -z | tar -c --null -T - | tar -x -C "$bare/my src"

step "installing the package of the tool with apt, and running it"
in_bare_machine <<'EOF'
apt-get update -qq
apt-get install -y -qq --no-install-recommends /packages/zqm-trx-tools_*.deb
trxctl --version
cd "/my src"
trxctl check docs/tables/*.csv || [ $? = 1 ]  # some are wrong on purpose
EOF

step "building a host and testing modules against the development package"
in_bare_machine <<'EOF'
apt-get install -y -qq --no-install-recommends /packages/lib*.deb g++ cmake make pkg-config libgtest-dev
cp -r /usr/share/doc/libzqm-trx-dev/examples /rig-source
cmake -S /rig-source -B /rig
cmake --build /rig
/rig/demo_host /rig/root | grep 'message of the table: SELFTEST_FAILED'
ctest --test-dir /rig --no-tests=error --output-on-failure
trxctl record -o /rig/recorded.ring -- /rig/demo_host /rig/root >/dev/null
trxctl records /rig/recorded.ring | grep 'HAP PSU_PowerUp' >/dev/null
cat >/host.cc <<'END'
#include "kw/trx/trx.h"
int main() { return kw::trx::trx::TRX::getInstance()->isStopFlag() ? 1 : 0; }
END
g++ /host.cc $(pkg-config --cflags --libs zqm_trx) -o /host
/host
EOF

step "removing the packages without a rest"
in_bare_machine <<'EOF'
apt-get purge -y -qq libkw-platform libzqm-trx-recorder libzqm-trx7 libzqm-trx-dev zqm-trx-tools
rest=$(find / -xdev -not -path '/packages/*' -not -path '/my src/*' -not -path '/rig*' -not -path '/proc/*' \
  \( -name '*zqm*trx*' -o -name '*kw*platform*' -o -name '*trxctl*' -o -path /usr/include/kw \))
if [ -n "$rest" ]; then
  echo "left behind: $rest"
  exit 1
fi
EOF

step "running the demo and the tests in a checkout whose path has a blank"
in_bare_machine <<'EOF'
cd "/my src"
./demo.sh
./test.sh
EOF
echo "the packages, the demo and the tests work on a bare machine"
