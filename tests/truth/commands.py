# SPDX-License-Identifier: Apache-2.0
"""The output of each command of trxctl that reads rings, in one form. The command lines and the
names in their outputs are here and nowhere else."""
import collections
import json
import os
import re
import subprocess

from truth_model import plain

COMMANDS = {
    "requests": ["requests", "--json", "RING"],
    "records": ["records", "--json", "RING"],
    "rows": ["records", "--json", "--tables", "TABLES", "RING"],
    "timeline": ["export", "RING", "-o", "OUT"],
    "stats": ["stats", "--json", "RINGS"],
    "report": ["report", "--json", "RINGS", "--tables", "TABLES", "--root", "ROOT"],
    "coverage": ["coverage", "RINGS", "--tables", "TABLES", "-o", "OUT"],
    "graph": ["graph", "--json", "FILES", "RINGS"],
    "way": ["graph", "FILES", "RINGS", "--request", "REQUEST"],
    "replay": ["replay", "--json", "RING", "--tables", "TABLES", "--request", "REQUEST"],
}
HEAD_LINES = 2  # of table files, above START
MORE_TURNS = 5  # what stands for all numbers of turns that a box does not show
SECONDS = 120
# Records with which rows start; those with which requests start, and those of refusals.
ROWS = ("0x10000000", "0xf000000", "0xd000000", "0xe000000", "0xe000001", "0x11000000",
        "0x12000000")
BEGINS = ("0x4003000", "0x4004001", "0x4004000", "0x4005000", "0x4007000", "0x4007001")
Counts = collections.namedtuple("Counts", "calls failures")


LOSS = r"(\d+) records (?:are suspect|were overwritten)"
NOTHING = "no record tells of"  # what commands say that have nothing to print


class Broken(Exception):
    """A command that crashed, hung, or printed what cannot be read."""


class Said:
    """A request as a command prints it."""

    def __init__(self, printed, start_ns, ring):
        self.ring, self.start_ns = ring, start_ns
        self.pid, self.tid = printed["process"], printed["thread"]
        self.id, self.number = int(printed["request"], 16), printed["requestNumber"]
        self.kind, self.name = printed["kind"], plain(printed["name"])
        self.mode = plain(printed["mode"])
        self.units = [plain(unit) for unit in printed["units"]]
        self.more_units, self.outcome = printed["moreUnits"], ending(printed)
        self.uncertain = printed.get("uncertain", "")
        self.words = printed.get("message", "")
        self.begin_lost = printed.get("startLost", False)
        self.damaged = printed.get("incomplete", False)
        row = printed.get("firstFailingRow") or {"table": "", "number": ""}
        self.row = (plain(row["table"]), row["number"])
        self.hap = plain(printed.get("failedHap", ""))
        self.code = int(printed.get("code") or "0x0", 16)
        self.keys = frozenset(printed)

    def __str__(self):
        return "%s %s of %d/%d, 0x%x.%d" % (self.kind, self.name, self.pid, self.tid, self.id,
                                            self.number)


class Trxctl:
    """Runs the commands over the rings and tables in a folder."""

    def __init__(self, program, folder, rings):
        self.program, self.folder, self.rings = program, folder, rings
        self.files = [os.path.join(os.fsencode(folder), b"tables", name) for name in
                      sorted(os.listdir(os.fsencode(folder + "/tables")))]
        self.out = None
        self.losses = {}  # numbers that a command says of its rings on standard error

    def run(self, what, ring=None, request=None, nothing=None):
        """Standard output of a command, bytes that are no UTF-8 escaped by themselves. `nothing`
        instead when it has nothing to print."""
        self.out = self.folder + ("/out.json" if what == "timeline" else "/out.info")
        values = {"RING": [ring], "RINGS": self.rings, "FILES": self.files, "OUT": [self.out],
                  "TABLES": [self.folder + "/tables"], "ROOT": [self.folder + "/root"],
                  "REQUEST": [request]}
        line = [word for part in COMMANDS[what] for word in values.get(part, [part])]
        if os.path.exists(self.out):
            os.remove(self.out)
        try:
            done = subprocess.run(self.program + line, capture_output=True, timeout=SECONDS,
                                  check=False)
        except subprocess.TimeoutExpired:
            raise Broken("takes more than %d s" % SECONDS) from None
        error = done.stderr.decode("utf-8", "surrogateescape")
        if done.returncode not in (0, 1) and (nothing is None or NOTHING not in error):
            raise Broken("status %d: %s" % (done.returncode, error.strip()[-200:]))
        self.losses.setdefault(what, []).extend(int(number) for number in re.findall(LOSS, error))
        if done.returncode not in (0, 1):
            return nothing
        return done.stdout.decode("utf-8", "surrogateescape")

    def output(self):
        with open(self.out, encoding="utf-8", errors="surrogateescape") as file:
            return file.read()

    def lines(self, what, ring):
        return [json.loads(line) for line in self.run(what, ring).splitlines()]

    def requests(self):
        return [Said(printed, int(printed["startNs"]), place) for place, ring in enumerate(self.rings)
                for printed in self.lines("requests", ring)]

    def records(self, ring):
        records = self.lines("records", ring)
        for record in records:
            record["timeNs"] = int(record["timeNs"])
        return records

    def rows(self):
        """How often a row is shown as one that starts, by table and place of the row."""
        return collections.Counter(
            (plain(os.path.basename(record["file"])[:-4]), record["line"] - HEAD_LINES - 1)
            for ring in self.rings for record in self.lines("rows", ring)
            if "file" in record and record["id"] in ROWS)

    def timeline_haps(self):
        """How often each HAP is drawn."""
        drawn = collections.Counter()
        for ring in self.rings:
            self.run("timeline", ring)
            for event in json.loads(self.output())["traceEvents"]:
                if event.get("cat") == "hap":
                    drawn[plain(event["name"])] += 1
        return drawn

    def stats(self):
        """Counts by HAP, and by row."""
        printed = json.loads(self.run("stats", nothing='{"haps": [], "rows": []}'))
        self.waits = {row_key(one): one["waitNs"]
                      for one in printed["rows"]}
        return ({plain(one["name"]): counts(one) for one in printed["haps"]},
                {row_key(one): counts(one) for one in printed["rows"]})

    def report(self):
        return Report(json.loads(self.run("report")))

    def coverage(self):
        """Runs by file and line, and how often a row went on in each way."""
        self.run("coverage")
        runs, ways, table = {}, {}, ""
        for line in self.output().splitlines():
            kind, _, rest = line.partition(":")
            if kind == "SF":
                table = plain(os.path.basename(rest)[:-4])
            elif kind == "DA":
                number, count = rest.split(",")[:2]
                runs[table, int(number)] = int(count)
            elif kind == "BRDA":
                number, _, way, count = rest.split(",")
                ways[table, int(number), int(way)] = int(count.replace("-", "0"))
        return runs, ways

    def graph(self):
        """Runs and failures by table and place of the row."""
        printed = json.loads(self.run("graph", nothing='{"tables": []}'))
        return {(plain(table["name"]), at): Counts(row["runs"], row["failures"])
                for table in printed["tables"] for at, row in enumerate(table["rows"])}

    def way(self, said):
        """How often rows ran in one request, by table and place of the row, up to MORE_TURNS."""
        text = self.run("way", request="0x%x.%d" % (said.id, said.number))
        return {key: MORE_TURNS if " ..." in box else box.count("#")
                for key, box in self.labels(text) if "#" in box}

    @staticmethod
    def labels(text):
        pattern = r'^ *"(.*):(\d+)" \[label="((?:[^"\\]|\\.)*)"'
        return [((plain(table), int(at)), label) for table, at, label in
                re.findall(pattern, text, re.M)]

    def replay(self, said):
        """Rows of a request, its end, its first failing row; None when it says that it cannot."""
        try:
            printed = json.loads(self.run("replay", self.rings[said.ring],
                                       "0x%x.%d" % (said.id, said.number)))
        except Broken as broken:
            if str(broken).startswith("status 2:"):
                return None
            raise
        recorded = printed["recorded"]
        rows = [(plain(one["row"]["table"]), one["row"]["number"],
                 *(plain(one["action"]) + " ").split(" ")[:2]) for one in recorded["rows"]]
        first = recorded.get("firstFailingRow")
        name = "%s/%s" % (first["table"], first["number"]) if first else "none"
        return rows, recorded["ending"], name, printed["same"]


def counts(printed):
    return Counts(printed["calls"], printed["failures"])


def ending(printed):
    return "ok" if printed["ending"] == "succeeded" else printed["ending"]


def row_key(printed, row=None):
    row = row or printed["row"]
    command = printed["rowCommand"]
    return (plain(row["table"]), row["number"], command,
            plain(printed["name"]) if command in ("HAP", "TABLE") else "")


class Report:
    def __init__(self, printed):
        self.lost, self.suspect = printed["lost"], printed["suspect"]
        self.left_out, self.left_out_runs = printed["leftOut"], printed["leftOutRuns"]
        self.counts = {"ok" if name == "succeeded" else name: count
                       for name, count in printed["requests"].items()}
        self.haps = {plain(one["name"]): counts(one) for one in printed["haps"]}
        self.threads = {(one["ring"], one["process"], one["thread"]): (one["requests"],
                                                                       one["failed"])
                        for one in printed["threads"]}
        self.names = {(one["kind"], plain(one["name"])):
                      one["count"] for one in printed["names"]}
        self.failures = printed["otherFailures"] + sum(
            group["count"] for group in printed["failures"])
        self.rows, self.places = {}, {}
        for table in printed["tables"]:
            for row in table["rows"] + table["foreign"]:
                if "calls" in row:
                    key = row_key(row, {"table": table["name"], "number": row["number"]})
                    self.rows[key] = Counts(row["calls"], row["failures"])
                if "at" in row:
                    self.places[plain(table["name"]), row["at"]] = (
                        row["runs"], row["onward"], row["errors"], row.get("calls", 0),
                        row.get("failures", 0))
        self.kept = [self.kept_request(one, int(printed["originNs"])) for one in printed["kept"]]

    @staticmethod
    def kept_request(printed, origin_ns):
        said = Said(printed, printed["startNs"] + origin_ns, printed["ring"])
        said.whole = "slicesLeftOut" not in printed
        said.rows = [row_key(one) for one in printed["slices"] if one["kind"] == "row"]
        said.haps = [plain(one["name"]) for one in printed["slices"] if one["kind"] == "hap"]
        return said
