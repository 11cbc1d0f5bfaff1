#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs command-line cases: what trxctl prints, and its exit status, against what a file expects.

A case file holds, in the order in which they happen:

    # A comment; the first ones say what the case shows.
    -- path/in/the/folder --
    The lines of an input file, up to the next marker. Blank lines at its end do not count.
    $ trxctl check some.csv
    a line of standard output
    ! a line of standard error
    = 0

A step is a command of bash with pipefail, in a fresh folder that is a system root: its path file
names ${DIR}/trx.conf. Its output is compared whole. `[..]` in an expected line stands for a part
that changes from run to run. The values of `--set` are placeholders such as ${DIR}: input files and
commands use them, and outputs show them again. VARYING lists what else changes from run to run.

`--update` writes the outputs of this run into the case files, also for steps that have none yet.
"""
import argparse
import difflib
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

VARYING = [  # what it is, its pattern, what stands for it
    ("duration", r"( ?) *(?<![\d.])\d+\.\d+ (ms|s)\b", r"\1TIME"),
    ("time of a record", r"\b20\d\d-\d\d-\d\d \d\d:\d\d:\d\d(\.\d+)?\+0000", "DATE"),
    ("time of day of a record", r"^\d\d:\d\d:\d\d\.\d{6} 0x", "CLOCK 0x"),
    ("day of records", r"^20\d\d-\d\d-\d\d\+0000$", "DAY"),
    ("process and thread", r"\b\d+/\d+ (?=0x|- )", "PROCESS/THREAD "),
    ("process", r"\bprocess \d+", "process PROCESS"),
    ("request of a record", r"\b0x[0-9a-f]+(\.\d+) +(?=error|info|debug)", r"REQUEST\1  "),
    ("request", r"((?<=request )|(?<= of ))0x[0-9a-f]+|0x[0-9a-f]+(?=\.\d| runs row )", "REQUEST"),
    ("an emulator's own message",
     r"^(ERROR: ld\.so: .* cannot be preloaded|qemu: uncaught target signal).*\n", ""),
    ("time in JSON", r'("\w+(?:Ns|Ms)": ?)(?:"[0-9]+"|[0-9.]+)', r"\1TIME"),
    ("process in JSON", r'("(?:process|thread)": ?)\d+', r"\1PROCESS"),
    ("request in JSON", r'("request": ?)"0x[0-9a-f]+"', r"\1REQUEST"),
]
MARKER = re.compile(
    r"-- (?P<path>\S.*) --|\$ (?P<command>\S.*)|(?P<comment>#.*|)|= (?P<status>\d+)")
NO_NEWLINE = "\\ no newline at the end"
PASSED_VARIABLES = re.compile(r"[A-Z]+SAN_OPTIONS|QEMU_.*|LLVM_PROFILE_FILE|LD_LIBRARY_PATH")


class CaseError(Exception):
    """A case file that does not follow the rules above."""


class Part:
    """Some lines of a case file: a comment, an input file or a step, with what belongs to it."""

    def __init__(self, kind, head, text):
        self.kind, self.head, self.text = kind, head, text
        self.lines = []


def without_output(step):
    """Removes the lines behind a step that has no status yet; returns the comments among them."""
    comments = [Part("comment", line, line) for line in step.lines if re.match("#|$", line)]
    step.lines = []
    return comments


def parse(text, unfinished):
    """The parts of a case file in their order. Steps may lack their output when `unfinished`."""
    parts, expecting = [], False
    for number, line in enumerate(text.split("\n")[:-1], 1):
        found = MARKER.fullmatch(line)
        kind = found and found.lastgroup
        last = parts[-1] if parts else None
        if expecting and kind in ("path", "command") and unfinished:
            parts += without_output(last)
            expecting = False
        if expecting and kind in ("path", "command"):
            raise CaseError(f"line {number}: the step before has no line '= STATUS'")
        if expecting or (kind in (None, "comment", "status") and last and last.kind == "path"):
            last.lines.append(line)
            expecting = expecting and kind != "status"
        elif kind in (None, "status"):
            raise CaseError(f"line {number}: neither a comment nor '-- FILE --' nor '$ COMMAND'")
        else:
            parts.append(Part(kind, line, found[kind]))
            expecting = kind == "command"
    if expecting and not unfinished or not text.endswith("\n"):
        raise CaseError("the last step has no line '= STATUS'")
    if not any(part.kind == "command" for part in parts):
        raise CaseError("no step")
    return parts


class Folder:
    """Where the steps of one case run."""

    def __init__(self, top, values, tool):
        self.path = os.path.realpath(top) + "/a case"
        self.values = {**values, "DIR": self.path}
        self.environment = {key: value for key, value in os.environ.items()
                            if PASSED_VARIABLES.fullmatch(key)}
        self.environment.update(self.values, LC_ALL="C", TZ="UTC", HOME=top, TMPDIR=top,
                                PATH=f"{top}/bin:{os.environ['PATH']}")
        program = pathlib.Path(top, "bin", "trxctl")
        program.parent.mkdir()
        program.write_text(f'#!/bin/sh\nexec {shlex.join(tool)} "$@"\n')
        program.chmod(0o755)
        self.write("kw/etc/kwpath.conf", "path.trx.conf=${DIR}/trx.conf\n")

    def write(self, path, text):
        """Writes an input file."""
        for name, value in self.values.items():
            text = text.replace("${" + name + "}", value)
        file = pathlib.Path(self.path, path)
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(text.encode())

    def run(self, command):
        """The lines that a step prints, as a case file has them."""
        done = subprocess.run(["bash", "-o", "pipefail", "-c", command], cwd=self.path, check=False,
                              env=self.environment, stdin=subprocess.DEVNULL, capture_output=True)
        lines = self.shown(done.stdout) + ["! " + line for line in self.shown(done.stderr)]
        for line in lines:
            found = MARKER.fullmatch(line)
            if found and found.lastgroup != "comment":
                raise CaseError(f"$ {command}: its output '{line}' is a marker of case files")
        return lines + [f"= {done.returncode}"]

    def shown(self, output):
        """The lines of an output, with placeholders for what depends on the run."""
        text = output.decode(errors="backslashreplace")
        for name, value in sorted(self.values.items(), key=lambda item: -len(item[1])):
            text = text.replace(value, "${" + name + "}")
        for _, pattern, replacement in VARYING:
            text = re.sub(pattern, replacement, text, flags=re.MULTILINE)
        *lines, rest = text.split("\n")
        return lines + ([rest, NO_NEWLINE] if rest else [])


def fits(expected, line):
    """Whether an expected line stands for a line of output."""
    pattern = ".*".join(re.escape(part) for part in expected.split("[..]"))
    return re.fullmatch(pattern, line) is not None


def as_expected(expected, lines):
    """The lines of an output, those with `[..]` in them as they were expected."""
    open_ones = [line for line in expected if "[..]" in line]
    return [line if line in expected else
            next((form for form in open_ones if fits(form, line)), line) for line in lines]


def run_case(parts, values, tool):
    """The text of a case file with the outputs of this run."""
    result = []
    with tempfile.TemporaryDirectory(prefix="trxctl_case.") as top:
        folder = Folder(top, values, tool)
        for part in parts:
            lines = part.lines
            if part.kind == "path":
                content = "\n".join(lines).rstrip("\n")
                folder.write(part.text, content and content + "\n")
            elif part.kind == "command":
                lines = as_expected(lines, folder.run(part.text))
            result += [part.head] + lines
    return "\n".join(result) + "\n"


def check(case, values, tool, update):
    """Whether a case file is in order, or has been made so."""
    text = case.read_bytes().decode()
    try:
        actual = run_case(parse(text, update), values, tool)
    except CaseError as error:
        print(f"{case}: {error}")
        return False
    if actual == text:
        return True
    if update:
        case.write_bytes(actual.encode())
        print(f"updated {case}")
        return True
    print("\n".join(difflib.unified_diff(text.splitlines(), actual.splitlines(),
                                         "expected", "printed", lineterm="")))
    print("To expect what was printed:", shlex.join([sys.executable, *sys.argv, "--update"]))
    return False


def main():
    options = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    options.add_argument("--update", action="store_true",
                         help="write the outputs into the case files")
    options.add_argument("--set", action="append", default=[], metavar="NAME=VALUE",
                         help="a placeholder")
    options.add_argument("--tool", action="append", required=True,
                         help="trxctl; given more than once, the words of the command that runs it")
    options.add_argument("cases", nargs="+", type=pathlib.Path)
    given = options.parse_args()
    values = dict(pair.split("=", maxsplit=1) for pair in given.set)
    failed = [case for case in given.cases if not check(case, values, given.tool, given.update)]
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
