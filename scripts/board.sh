#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Boots the board, an emulated machine with Debian's kernel for 32-bit ARM and a root of Debian
# packages, with this tree under its own path, read only:
#   scripts/board.sh                 gives a shell there; it ends with the shell
#   scripts/board.sh COMMAND...      runs a command of bash there; its output and exit status are those
#                                    of this script, and what it writes into /results stays in
#                                    the folder BOARD_RESULTS, build/board/results by default
# BOARD_MEMORY is its memory in MB, 512 by default; BOARD_DISK a file that it gets as a disk with the serial number data;
# BOARD_ROOT the file of a root that keeps what is written, instead of one that is new at each start;
# BOARD_QEMU further options of qemu-system-arm; BOARD_SECONDS the time until it is given up, 600.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/setup.sh

board=$PWD/build/board
results=${BOARD_RESULTS:-$board/results}
snapshot=,snapshot=on
[ -z "${BOARD_ROOT:-}" ] || snapshot=

# The initramfs: a shell and the drivers that the kernel of Debian has as modules.
make_initramfs() {
  local folder=$board/initramfs version module
  version=$(cd "$board/kernel/lib/modules" && echo *)
  rm -rf "$folder"
  mkdir -p "$folder"/{bin,proc,sys,dev,root,modules.d}
  cp "$board/root/bin/busybox" "$folder/bin/"
  depmod -b "$board/kernel" "$version"
  for module in virtio_mmio virtio_blk crc32c_generic ext4 9pnet_virtio 9p; do
    modprobe -d "$board/kernel" -S "$version" --show-depends "$module"
  done | sed -n 's/^insmod //p' | awk '!seen[$1]++ { print $1 }' |
    while IFS= read -r module; do
      cp "$module" "$folder/modules.d/"
      echo "/modules.d/${module##*/}"
    done >"$folder/modules"
  cp scripts/board/first_init.sh "$folder/init"
  chmod +x "$folder/init"
  (cd "$folder" && find . | LC_ALL=C sort | cpio -o -H newc --quiet) >"$board/initramfs.cpio"
}

make_disk() {
  rm -f "$board/root.ext4"
  mke2fs -q -t ext4 -d "$board/root" -E root_owner=0:0 "$board/root.ext4" 640M
}

boot() {
  timeout --foreground "${BOARD_SECONDS:-600}" qemu-system-arm -M virt,highmem=off -cpu cortex-a15 -nic none \
    -smp "${BOARD_CPUS:-2}" -m "${BOARD_MEMORY:-512}" -display none -monitor none -no-reboot \
    -kernel "$board"/kernel/boot/vmlinuz-* -initrd "$board/initramfs.cpio" \
    -append "console=ttyAMA0 quiet panic=-1 board.tree=$PWD" \
    -drive "file=${BOARD_ROOT:-$board/root.ext4},format=raw,if=none,id=root$snapshot" \
    -device virtio-blk-device,drive=root,serial=root \
    -fsdev "local,id=tree,path=$PWD,security_model=none,readonly=on,multidevs=remap" \
    -device virtio-9p-device,fsdev=tree,mount_tag=tree \
    -fsdev "local,id=results,path=$results,security_model=none" \
    -device virtio-9p-device,fsdev=results,mount_tag=results \
    ${BOARD_DISK:+-drive "file=$BOARD_DISK,format=raw,if=none,id=data" -device virtio-blk-device,drive=data,serial=data} \
    ${BOARD_QEMU:-} "$@"
}

install_missing "${packages_board[@]}"
scripts/board_root.sh
[ "$board/initramfs.cpio" -nt scripts/board/first_init.sh ] || make_initramfs
[ "$board/root.ext4" -nt "$board/packages" ] || make_disk
mkdir -p "$results"
rm -f "$results"/{shell,command,output,status}
if [ $# -eq 0 ]; then
  touch "$results/shell"
  echo "The board starts; its shell ends with exit, and the board with Ctrl-A X."
  boot -serial mon:stdio -echr 1
  exit
fi
printf '%s\n' "$*" >"$results/command"
boot -serial "file:$results/console" || true
cat "$results/output" 2>/dev/null || true
if ! [ -s "$results/status" ]; then
  echo "The board did not come to its end; its console says last:" >&2
  tail -n 20 "$results/console" >&2
  exit 125
fi
exit "$(cat "$results/status")"
