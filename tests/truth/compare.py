# SPDX-License-Identifier: Apache-2.0
"""Compares what trxctl prints of rings with what their hosts did, and its commands with each other.

    compare.py --host FILE --module FILE --trxctl FILE [--emulator "COMMAND"] [--seeds 1-20]
               [--count N] [--modes whole,small,live,flipped] [--keep DIR] [--summary]

Each seed runs a host whose requests are random, once for each mode:

whole    the rings hold everything: compared with all that the host did
small    the start of the rings is overwritten: what is complete is compared, the rest must be
         marked
live     the rings are copied while they are written
flipped  bytes of the rings are changed: the commands must agree with each other

For a seed that fails it prints the first differences and the command that shows them again.
Status 1: there were differences."""
import argparse
import os
import random
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import time

from commands import Trxctl
from comparison import Comparison, Difference
from truth_model import Truth

MODES = ("whole", "small", "live", "flipped")
SHOWN = 5
HEADER_BYTES = 4096


def rings_of(folder):
    return sorted(folder + "/" + name for name in os.listdir(folder) if name.endswith(".ring"))


def run_host(options, seed, mode, folder):
    """Returns the rings and until when what happened is in them."""
    records = {"small": 200 + seed * 97 % 1500}.get(mode, 131072)
    command = options.run + [options.host, "--seed", str(seed), "--dir", folder, "--module",
                             options.module, "--records", str(records)]
    if mode != "live":
        subprocess.run(command, check=True, timeout=120, stdout=subprocess.DEVNULL)
        return rings_of(folder), 1 << 62
    with subprocess.Popen(command, stdout=subprocess.DEVNULL) as host:
        truth, most = folder + "/truth.jsonl", 4000 + 1000 * (seed % 60)
        while host.poll() is None and (not os.path.exists(truth) or os.path.getsize(truth) < most):
            time.sleep(0.0005)
        until_ns = time.time_ns()
        copies = []
        for ring in rings_of(folder):
            shutil.copyfile(ring, ring + "copy")
            copies.append(ring + "copy")
    return copies, until_ns


def flip(rings, seed):
    """Changes some bytes of what is written."""
    chance = random.Random(seed)
    for ring in rings:
        with open(ring, "r+b") as file:
            data = file.read()
            used = [at for at in range(HEADER_BYTES, len(data), 16)
                    if data[at:at + 16].strip(b"\0")]
            if not used:
                continue
            for _ in range(chance.choice((1, 1, 2, 5, 20))):
                at = chance.choice(used) + chance.randrange(16)
                file.seek(at)
                file.write(bytes([data[at] ^ 1 << chance.randrange(8)]))


def compare_seed(options, seed, mode, folder):
    rings, until_ns = run_host(options, seed, mode, folder)
    if mode == "flipped":
        flip(rings, seed)
    truth = Truth(folder + "/truth.jsonl")
    trxctl = Trxctl(options.run + [options.trxctl], folder, rings)
    return Comparison(trxctl, truth, mode, until_ns).run()


def tag_of(difference):
    """What is alike in many differences."""
    what = re.sub(r"^.*\(request \d+\): ", "", difference.what)
    what = re.sub(r"\(.*\)|\d+|0x[0-9a-f]+| t\d| of t.*", "", what)
    return difference.command + ": " + what.strip()


def parse():
    parser = argparse.ArgumentParser()
    for name in ("--host", "--module", "--trxctl"):
        parser.add_argument(name, required=True)
    parser.add_argument("--emulator", default="")
    parser.add_argument("--seeds", default="1-16")
    parser.add_argument("--count", type=int)
    parser.add_argument("--modes", default=",".join(MODES))
    parser.add_argument("--keep", help="folder in which files of failed seeds stay")
    parser.add_argument("--summary", action="store_true", help="count differences that are alike")
    options = parser.parse_args()
    first, _, last = options.seeds.partition("-")
    options.range = range(int(first), int(last or first) + 1)
    if options.count:
        options.range = range(1, options.count + 1)
    options.run = shlex.split(options.emulator)
    return options


def main():
    options = parse()
    failed, rings, tags = [], 0, {}
    for seed in options.range:
        for mode in options.modes.split(","):
            folder = tempfile.mkdtemp(prefix="truth-")
            try:
                found = compare_seed(options, seed, mode, folder)
            except (ValueError, subprocess.SubprocessError) as problem:
                found = [Difference("host", "no truth", str(problem), "")]
            rings += 1
            if found:
                failed.append((seed, mode))
            for one in found:
                tags.setdefault(tag_of(one), []).append((seed, mode, one))
            if found and not options.summary:
                print("seed %d, %s ring: %d differences; to reproduce: run.sh --seeds %d "
                      "--modes %s --keep DIR" % (seed, mode, len(found), seed, mode))
                for one in found[:SHOWN]:
                    print("  %s: %s\n    printed: %s\n    true: %s" % one)
            if found and options.keep:
                shutil.copytree(folder, "%s/%d-%s" % (options.keep, seed, mode), dirs_exist_ok=True)
            shutil.rmtree(folder)
    often = sorted(tags.items(), key=lambda item: -len(item[1]))
    for tag, places in often if options.summary else ():
        seed, mode, one = places[0]
        print("%6d in %d rings  %s\n    seed %d %s: %s\n      printed %s\n      true %s" % (
            len(places), len({place[:2] for place in places}), tag, seed, mode, one.what,
            str(one.printed)[:300], str(one.true)[:300]))
    print("%d rings of %d seeds, %d with differences" % (rings, len(options.range), len(failed)))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
