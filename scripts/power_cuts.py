#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Cuts the power of the board at random moments and looks at what is left: power_cuts.py [CUTS [SEED]]

The machine is killed while a host loads, runs tables and fills its ring, the tool writes tables and reports, and
the configuration is replaced, all on one ext4 disk. After each cut a start must find every file that was
reported as written, with the content that it had then or one that was being written since; the ring is
read; the host comes up, or doctor says what to do. Each start resumes the saved state of a board that has
booted, with the disk as the cut left it. What a disk's own cache would lose is not part of this: the disk
keeps all that the kernel handed to it.
"""
import json
import os
import random
import re
import selectors
import shutil
import socket
import subprocess
import sys
import time
from pathlib import Path

TREE = Path(__file__).resolve().parent.parent
BOARD = TREE / "build" / "board"
ROOT, STATE, DISK = (BOARD / name for name in ("power.ext4", "power.state", "power_data.ext4"))
DISK_MB = 64
START_SECONDS = 180
WORK_SECONDS = 8.0


class Board:
    """A running board; the lines of its console that begin with @ are its answers."""

    def __init__(self, *options):
        self.process = subprocess.Popen(
            ["qemu-system-arm", "-M", "virt,highmem=off", "-cpu", "cortex-a15", "-smp", "2", "-m", "128",
             "-nic", "none", "-display", "none", "-monitor", "none", "-no-reboot", "-serial", "stdio",
             "-kernel", str(next((BOARD / "kernel/boot").glob("vmlinuz-*"))),
             "-initrd", str(BOARD / "initramfs.cpio"),
             "-append", "console=ttyAMA0 quiet panic=-1 board.run=/opt/power_guest.sh",
             "-drive", f"file={ROOT},format=raw,if=none,id=root,readonly=on",
             "-device", "virtio-blk-device,drive=root,serial=root",
             "-drive", f"file={DISK},format=raw,if=none,id=data",
             "-device", "virtio-blk-device,drive=data,serial=data", *options],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.selector = selectors.DefaultSelector()
        self.selector.register(self.process.stdout, selectors.EVENT_READ)
        self.rest = b""

    def tell(self, command):
        self.process.stdin.write(command.encode() + b"\n")
        self.process.stdin.flush()

    def answers(self, seconds, last=None):
        """The answers that come within `seconds`, up to the one `last`."""
        end, found = time.monotonic() + seconds, []
        while time.monotonic() < end:
            if not self.selector.select(end - time.monotonic()):
                break
            data = os.read(self.process.stdout.fileno(), 65536)
            if not data:
                break
            *lines, self.rest = (self.rest + data).split(b"\n")
            for line in lines:
                text = line.decode(errors="replace").strip()
                if text.startswith("@"):
                    found.append(text[1:])
                    if found[-1] == last:
                        return found
        if last is not None:
            sys.exit(f"the board did not answer {last}: {found} {self.rest!r}")
        return found

    def start(self):
        """The answers to a start. A board whose state is still being restored hears nothing."""
        end, found = time.monotonic() + START_SECONDS, []
        while "starting" not in found:
            if time.monotonic() > end:
                sys.exit("the board does not start")
            self.tell("start")
            found += self.answers(0.5)
        return found if "checked" in found else found + self.answers(START_SECONDS, "checked")

    def cut(self):
        self.process.kill()
        # What was on its way when the power went was said before.
        data = self.rest + self.process.stdout.read()
        self.process.wait()
        lines = data.decode(errors="replace").split("\n")[:-1]
        return [line.strip()[1:] for line in lines if line.startswith("@")]


class Files:
    """What each file may hold: what was written last, or what was being written since."""

    def __init__(self):
        self.allowed = {}
        self.there = {}
        self.kept = 0

    def note(self, answers):
        for answer in answers:
            what, name, *content = answer.split(" ")
            if what == "writing" and content:
                self.allowed.setdefault(name, [self.there.get(name)]).append(content[0])
            elif what == "written" and content:
                self.allowed[name] = [content[0]]
            elif what == "dropped":
                self.allowed.pop(name, None)

    def lost(self, found):
        """What is not as it must be; from then on the files are as they were found."""
        there = dict((f + " ").split(" ")[1:3] for f in found)
        wrong = []
        for name, contents in self.allowed.items():
            self.kept += 1
            if there.get(name) not in contents:
                wrong.append(f"{name} is {there.get(name)}, not one of {contents}")
        self.allowed = {name: [content] for name, content in there.items() if name in self.allowed}
        self.there = there
        return wrong


def install():
    """The root with the packages, once; the state of a board that has booted from it, each time."""
    subprocess.run([TREE / "scripts/board.sh", "true"], check=True)
    shutil.copy(BOARD / "root.ext4", ROOT)
    script = TREE / "scripts/board/power_install.sh"
    subprocess.run([TREE / "scripts/board.sh", f"bash '{script}' '{TREE}'"], check=True,
                   env=dict(os.environ, BOARD_ROOT=str(ROOT)), stdout=subprocess.DEVNULL)
    DISK.unlink(missing_ok=True)
    subprocess.run(["mke2fs", "-q", "-t", "ext4", str(DISK), f"{DISK_MB}M"], check=True)
    control = BOARD / "power.qmp"
    board = Board("-qmp", f"unix:{control},server=on,wait=off")
    board.answers(START_SECONDS, "ready")
    with socket.socket(socket.AF_UNIX) as connection:
        connection.connect(str(control))
        lines = connection.makefile("rw")
        lines.readline()
        for command in ({"execute": "qmp_capabilities"},
                        {"execute": "migrate", "arguments": {"uri": f"exec:cat >'{STATE}'"}},
                        {"execute": "query-migrate"}):
            status = ""
            while status != "completed":
                lines.write(json.dumps(command) + "\n")
                lines.flush()
                answer = json.loads(lines.readline())
                while "event" in answer:
                    answer = json.loads(lines.readline())
                if command["execute"] != "query-migrate":
                    break
                status = answer["return"].get("status", "")
                time.sleep(0.2)
    board.cut()


def main():
    cuts = int(sys.argv[1]) if len(sys.argv) > 1 else 200
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else random.randrange(1 << 30)
    print(f"{cuts} cuts, seed {seed}", flush=True)
    chance = random.Random(seed)
    install()
    files, failures, number, refused = Files(), 0, 0, 0
    for cut in range(cuts + 1):
        board = Board("-incoming", f"exec:cat '{STATE}'")
        answers = board.start()
        wrong = files.lost([a for a in answers if a.startswith("found ")])
        ends = {what: int(status) for what, status in
                re.findall(r"^(trace|doctor|host) (\d+)", "\n".join(answers), re.M)}
        remedies = any(re.match(r"doctor \d+ [1-9]", a) for a in answers)
        wrong += [f"{what} crashed: {status}" for what, status in ends.items() if status > 125]
        if "failed mount" in answers or (ends["host"] != 0 and not (ends["doctor"] != 0 and remedies)):
            wrong.append("the host does not come up, and nothing says what to do")
        refused += ends["host"] != 0
        if wrong:
            failures += 1
            print(f"start {cut}:", *wrong, *answers, sep="\n  ", flush=True)
        if cut == cuts:
            board.cut()
            break
        board.tell(f"work {number}")
        said = board.answers(chance.uniform(0, WORK_SECONDS))
        said += board.cut()
        files.note(said)
        number += 1 + sum(s.startswith("written rig/trx.conf") for s in said)
        if cut % 20 == 19:
            print(f"{cut + 1} cuts, {failures} with a loss", flush=True)
    print(f"{cuts} cuts: {files.kept} files looked at that were reported as written or being written, "
          f"{failures} starts with a loss, {refused} at which the host said that it cannot start")
    sys.exit(failures != 0)


main()
