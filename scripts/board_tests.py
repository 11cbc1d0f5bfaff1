#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The tests of the device build, for the board and back.

board_tests.py list BUILD FOLDER     writes into FOLDER/tests what of BUILD's tests runs on the board:
                                     those that ctest runs with the user-mode emulator, without it
board_tests.py collect FOLDER        makes FOLDER/junit.xml of what came back, and FOLDER/CTestTestfile.cmake,
                                     by which ctest counts every test as its own
board_tests.py result FOLDER NUMBER  prints the output of that test, and ends as it ended
"""
import json
import shlex
import subprocess
import sys
from pathlib import Path
from xml.etree import ElementTree

EMULATOR = "qemu-arm"
# These compute for minutes there and ask nothing of the kernel; user-mode emulation runs them.
LEFT_OUT = ("ExplorationTest.SaysOfRandomTablesWhatAllTheirRunsShow", "ExplorationTest.TablesMayBeNestedDeeply",
            "ReplayTest.RandomRunsAreReadAndRunAgainTheSame", "RandomTest.TheEngineDoesWhatTheModelDoes",
            "TableControllerTest.AnyBytesAreTakenOrRefused")
DEFAULT_SECONDS = 240


def command_on_board(test):
    """The command of a ctest test without the emulator and its root; none when it runs on this machine."""
    command = test.get("command", [])
    if not command or Path(command[0]).name != EMULATOR:
        return None
    return command[3:]  # qemu-arm -L ROOT


def list_tests(build, folder):
    shown = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], check=True,
                           capture_output=True, text=True).stdout
    lines, names = [], []
    for test in json.loads(shown)["tests"]:
        command = command_on_board(test)
        if command is None or test["name"] in LEFT_OUT:
            continue
        properties = {p["name"]: p["value"] for p in test.get("properties", [])}
        environment = [shlex.quote(entry) for entry in properties.get("ENVIRONMENT", [])]
        how = "alone" if "RESOURCE_LOCK" in properties else "together"
        words = (["env"] + environment if environment else []) + [shlex.quote(w) for w in command]
        lines.append("\t".join([str(len(lines)), how,
                                str(int(properties.get("TIMEOUT", DEFAULT_SECONDS))),
                                properties.get("WORKING_DIRECTORY", build), " ".join(words)]))
        names.append(test["name"])
    if not lines:
        sys.exit(f"{build} has no tests for the board")
    (folder / "tests").write_text("\n".join(lines) + "\n")
    (folder / "names").write_text("\n".join(names) + "\n")
    print(f"{len(lines)} tests for the board, {len(LEFT_OUT)} left out")


def end_of(folder, number):
    """Exit status and seconds of a test; one that did not come to its end failed."""
    try:
        status, milliseconds = (folder / "end" / str(number)).read_text().split()
        return int(status), int(milliseconds) / 1000
    except (OSError, ValueError):
        return 125, 0.0


def output_of(folder, number):
    try:
        return (folder / "log" / str(number)).read_text(errors="replace")
    except OSError:
        return "It did not run on the board.\n"


def collect(folder):
    names = (folder / "names").read_text().splitlines()
    suite = ElementTree.Element("testsuite", name="board", tests=str(len(names)))
    lines, failures = [], 0
    for number, name in enumerate(names):
        status, seconds = end_of(folder, number)
        case = ElementTree.SubElement(suite, "testcase", name=name, time=f"{seconds:.2f}")
        if status != 0:
            failures += 1
            failure = ElementTree.SubElement(case, "failure", message=f"exit status {status}")
            failure.text = "".join(c for c in output_of(folder, number) if c.isprintable() or c in "\n\t")
        lines.append(f"add_test([=[board.{name}]=] python3 [=[{Path(__file__).resolve()}]=] result "
                     f"[=[{folder.resolve()}]=] {number})\n")
    suite.set("failures", str(failures))
    ElementTree.ElementTree(suite).write(folder / "junit.xml", encoding="utf-8", xml_declaration=True)
    (folder / "CTestTestfile.cmake").write_text("".join(lines))


def main():
    what, *arguments = sys.argv[1:] or [""]
    if what == "list" and len(arguments) == 2:
        list_tests(arguments[0], Path(arguments[1]))
    elif what == "collect" and len(arguments) == 1:
        collect(Path(arguments[0]))
    elif what == "result" and len(arguments) == 2:
        status, _ = end_of(Path(arguments[0]), arguments[1])
        sys.stdout.write(output_of(Path(arguments[0]), arguments[1]))
        sys.exit(status)
    else:
        sys.exit(__doc__)


main()
