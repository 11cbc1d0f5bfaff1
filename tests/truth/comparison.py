# SPDX-License-Identifier: Apache-2.0
"""What the commands of trxctl say of rings, held against what their host did, and against each
other."""
import collections

from commands import BEGINS, HEAD_LINES, MORE_TURNS, Broken, Counts
from truth_model import TABLE_FAILED, TABLE_MISSING, plain

MOST_THREADS = 3  # of a process of the host

Difference = collections.namedtuple("Difference", "command what printed true")


class Comparison:
    """The differences of one ring, or of the rings of one host."""

    def __init__(self, trxctl, truth, mode, until_ns):
        self.trxctl, self.truth, self.mode, self.until_ns = trxctl, truth, mode, until_ns
        self.whole = mode == "whole"
        self.found = []

    def differ(self, command, what, printed, true):
        if printed != true:
            self.found.append(Difference(command, what, printed, true))

    def ask(self, command, *args):
        try:
            return getattr(self.trxctl, command)(*args)
        except (Broken, ValueError, KeyError) as problem:
            self.differ(command, "cannot be read", "%s: %s" % (type(problem).__name__, problem), "")
            return None

    def run(self):
        self.requests = self.ask("requests")
        self.stats = self.ask("stats")
        self.report = self.ask("report")
        self.coverage = self.ask("coverage")
        self.graph = self.ask("graph")
        self.records = [self.ask("records", ring) for ring in self.trxctl.rings]
        self.rows = self.ask("rows")
        self.timeline = self.ask("timeline_haps")
        if None in (self.requests, self.stats, self.report, self.coverage, self.graph, self.rows,
                    self.timeline) or None in self.records:
            return self.found
        self.with_each_other()
        if self.mode != "flipped":
            self.with_truth()
        return self.found

    # Of two commands.

    def with_each_other(self):
        report, requests = self.report, self.requests
        outcomes = collections.Counter(said.outcome for said in requests)
        for outcome, count in report.counts.items():
            self.differ("report, requests", "requests: " + outcome, count,
                        len(requests) if outcome == "all" else outcomes[outcome])
        self.differ("report, records", "suspect records", report.suspect,
                    sum("suspect" in record for ring in self.records for record in ring))
        keys = {said.keys for said in requests if said.outcome == "failed"}
        self.differ("requests", "JSON keys that only some failed requests have",
                    sorted(set().union(*keys) - set.intersection(*map(set, keys))) if keys else [],
                    [])
        failed = collections.Counter((said.ring, said.pid, said.tid) for said in requests
                                     if said.outcome in ("failed", "refused"))
        self.same("report, requests", "failed of thread",
                  {key: value[1] for key, value in report.threads.items()}, failed)
        self.same("report, requests", "requests of thread",
                  {key: value[0] for key, value in report.threads.items()},
                  collections.Counter((said.ring, said.pid, said.tid) for said in requests))
        if not report.left_out:
            self.same("report, requests", "requests of name",
                      report.names,
                      collections.Counter((said.kind, said.name) for said in requests))
            self.differ("report", "failures in groups", report.failures,
                        outcomes["failed"] + outcomes["refused"])
            self.same("report, stats", "calls and failures of HAP", report.haps, self.stats[0])
            self.same("report, stats", "calls and failures of row", report.rows,
                      self.stats_of_rows())
        drawn = collections.Counter(self.timeline)
        drawn.subtract({name: count.calls for name, count in self.stats[0].items()})
        # What is not sure is drawn, and not counted.
        self.differ("timeline, stats", "HAPs that are drawn, more than are counted or left out",
                    max(0, sum((+drawn).values()) - report.left_out_runs), 0)
        self.differ("timeline, stats", "HAPs that are counted, more than are drawn", dict(-drawn),
                    {})
        losses = {what: sum(numbers) for what, numbers in self.trxctl.losses.items()}
        for what in ("records", "timeline", "stats", "coverage", "graph"):
            self.differ(what + ", requests", "records lost and suspect, on standard error",
                        losses[what], losses["requests"])
        self.rows_of_places()

    def same(self, command, what, printed, true):
        for key in sorted(set(printed) | set(true), key=str):
            self.differ(command, "%s %s" % (what, key), printed.get(key, 0), true.get(key, 0))

    def stats_of_rows(self):
        """Runs of rows; those that do not tell what they call are added to the row in the file, as
        the report does it."""
        rows = dict(self.stats[1])
        for key in [key for key in rows if key[2] in ("HAP", "TABLE") and not key[3]]:
            table = self.truth.tables.get(key[0], [])
            called = [key[:3] + (plain(row[3]),) for row in table if tuple(row[1:3]) == key[1:3]]
            if called and called[0] != key:
                added, there = rows.pop(key), rows.get(called[0], Counts(0, 0))
                rows[called[0]] = Counts(*(sum(pair) for pair in zip(added, there)))
        return rows

    def rows_of_places(self):
        runs, ways = self.coverage
        for (table, at), (count, onward, errors, calls, failures) in self.report.places.items():
            row = "row %d of %s" % (at, table)
            line = at + HEAD_LINES + 1
            cells = self.truth.tables.get(table, [])[at:at + 1]
            # A changed wait or message makes another row of it, for runs but not for calls.
            may_change = self.mode == "flipped" and cells and cells[0][2] in ("WAIT", "END")
            if not may_change:
                self.differ("report", "runs, calls of " + row, count, calls)
            self.differ("report, coverage", "runs of " + row, count, runs.get((table, line), 0))
            for way, number in ((0, onward), (1, errors)):
                if (table, line, way) in ways and cells and cells[0][5] not in ("NOP", "STACK"):
                    self.differ("report, coverage", "way %d of %s" % (way, row), number,
                                ways[table, line, way])
            if not may_change:
                self.differ("graph, report", "runs and failures of " + row,
                            self.graph.get((table, at), Counts(0, 0)), Counts(count, failures))

    # Of a command and the host.

    def with_truth(self):
        # Parts whose first record is in the rings. Of a thread the oldest records are lost first.
        self.begun = set()
        for record in [record for ring in self.records for record in ring]:
            if record["id"] in BEGINS:
                at = self.truth.at(record["process"], record["thread"], record["timeNs"])
                self.begun.add((at[0], at[1].n) if at else None)
        self.differ("report", "suspect records of a sound ring", self.report.suspect, 0)
        if self.whole:
            # A process that is killed tears the record that each of its threads writes.
            torn = MOST_THREADS * len(self.truth.dead)
            self.differ("report", "lost records of a whole ring", max(0, self.report.lost - torn),
                        0)
        self.uncertain = set()
        # Which of HAPs inside one another failed is not known of them, nor whether they ended.
        self.unsure = sum(bool(said.uncertain) and said.outcome == "open" for said in self.requests)
        self.pair("requests", self.requests, self.one_request)
        self.pair("kept of report", self.report.kept, self.one_kept)
        sums = [request for request in self.truth.requests.values()]
        if self.mode != "live" and not self.truth.dead:
            self.sums(sums)
        if self.whole:
            self.single_requests()

    def is_whole(self, request):
        """Whether all records of a request are in the rings."""
        return request.parts and request.parts[0]["t"] < self.until_ns and (
            self.report.lost == 0 or all((place, request.n) in self.begun
                                         for place, _ in enumerate(request.parts)))

    def is_settled(self, request):
        """Whether the ring cannot know less of it than the truth file."""
        return not request.uncertain and (
            self.mode != "live" or bool(request.last) and request.last["t"] < self.until_ns
            and not request.last.get("waits"))

    def pair(self, command, all_said, compare):
        """Finds the request of the host for each printed one, by thread and time."""
        paired = {}
        for said in sorted(all_said, key=lambda said: said.start_ns):
            at = self.truth.at(said.pid, said.tid, said.start_ns)
            if at is None:
                self.differ(command, "the host made no such request", str(said), None)
                continue
            part, request = at
            if said.uncertain:
                self.uncertain.add(request.n)
                if self.whole and not request.ambiguous and not any(
                        hap.mixes_up for hap in request.all_haps):
                    self.differ(command, "uncertain", said.uncertain,
                                "of its own name" in said.uncertain and said.uncertain)
            if request.n in paired:
                # Contexts of one id waited at once. No record tells them apart; when all records of
                # one of them are overwritten, none tells either that there is more than one.
                if part and (request.ambiguous or request.n in self.uncertain):
                    continue
                # What is left of one whose start is overwritten does not tell that it is in a HAP,
                # which may make requests: told as one that is over when another one starts.
                first = paired[request.n]
                if said.begin_lost and first.begin_lost and "" in (said.name, first.name):
                    continue
                what = "part %d of a request as one of its own" % part if part else \
                    "a request twice"
                self.differ(command, what, str(said), str(paired[request.n]))
                continue
            paired[request.n] = said
            if part and self.is_whole(request):
                self.differ(command, "start", "%s starts with part %d" % (said, part), "part 0")
            elif not request.ambiguous and request.n not in self.uncertain and self.is_settled(
                    request):
                compare(command, said, request, self.is_whole(request))
        if command == "requests":
            for request in self.truth.requests.values():
                if self.is_whole(request) and self.is_settled(request):
                    missing = request.n not in paired and not request.uncertain
                    self.differ(command, "request", "missing" if missing else "there", "there") \
                        if missing else None

    def one_request(self, command, said, request, whole):
        label = "%s (request %d): " % (said, request.n)
        check = lambda what, printed, true: self.differ(command, label + what, printed, true)
        if said.name not in ("", "?"):
            check("kind and name", (said.kind, said.name), (request.kind, request.name)
                  if not request.is_refused else (said.kind, request.name))
        if not whole:
            # Newer records of a thread can be overwritten before older ones of another: one that
            # waits may have gone on in a thread of which nothing is left.
            moved = said.outcome == "waits" and len({part["tid"] for part in request.parts}) > 1
            if not said.begin_lost and not said.damaged and not moved:
                check("what is missing", "not marked", "marked")
            return
        check("start lost", said.begin_lost, False)
        if self.whole:
            check("damaged", said.damaged, False)
        if said.id:
            check("id", said.id, request.id)
        if request.is_refused:
            return check("outcome", said.outcome, "refused")
        check("mode", said.mode, request.mode)
        units = set(request.units)
        check("units that are not its own", sorted(set(said.units) - units), [])
        if not said.more_units and (request.kind == "hap" or any(
                row.command == "HAP" for row in request.rows)):
            check("units that are missing", sorted(units - set(said.units)), [])
        unknown = request.kind == "hap" and not request.all_haps and request.outcome == "failed"
        outcome = said.outcome if unknown and said.outcome == "refused" else request.outcome
        check("outcome", "open" if said.outcome == "waits" else said.outcome, outcome)
        if request.outcome == said.outcome == "failed":
            self.failure(check, said, request)

    def failure(self, check, said, request):
        if request.first_row and not request.firstTable:
            check("first failing row", said.row, request.first_row)
        row = next((row for row in request.rows if row.is_recorded), None)
        haps = [row.hap] if row and row.hap else request.haps if request.kind == "hap" else []
        chain = haps[-1].chain() if haps else []
        if chain and request.kind == "table":
            chain.append(("", request.last["code"]))
        ended = [r for r in request.rows if r.command in ("END", "TABLE") and r.name]
        threw = request.last["out"] == "foreign"
        if request.kind == "table" and request.errorEnd and not row and not ended and not threw:
            if said.code != TABLE_MISSING:
                check("code of an error end that was left behind", said.code, TABLE_FAILED)
        if not chain or request.firstTable:
            return
        if said.code:
            check("code", "0x%x" % said.code,
                  "0x%x" % (said.code if said.code in [code for _, code in chain]
                            else chain[0][1]))
        if said.hap:
            check("HAP", said.hap, said.hap if said.hap in [name for name, _ in chain]
                  else chain[0][0])
        if all(code for _, code in chain):
            check("words", "gave no error code" in said.words, False)

    def one_kept(self, command, said, request, whole):
        if not whole or not said.whole or request.is_refused:
            return
        label = "%s (request %d): " % (said, request.n)
        self.differ(command, label + "rows", said.rows, [row.key for row in request.rows])
        haps, refused = [hap.name for hap in request.all_haps], request.refused_haps
        self.differ(command, label + "HAPs", sorted(said.haps),
                    sorted(haps + refused if len(said.haps) > len(haps) else haps))

    def sums(self, requests):
        haps, rows = collections.defaultdict(list), collections.defaultdict(list)
        refused, waits = collections.Counter(), collections.Counter()
        for request in requests:
            for hap in request.all_haps:
                haps[hap.name].append(hap.failed)
            # One that was refused may count as a call that failed, as long as all say so.
            for name in request.refused_haps:
                refused[name] += 1
            for row in request.rows:
                rows[row.key].append(row.failed)
                waits[row.key] += row.wait * 1000000
        ambiguous = any(request.ambiguous for request in requests)
        # When another request of an id is taken to go on, and its table ends first, the rest of the
        # true one has lost its start: it is told so, and its runs are left out.
        self.exact = self.whole and not (ambiguous and self.report.left_out_runs)
        if not ambiguous:
            if self.whole:
                places = collections.Counter()
                for key, failures in rows.items():
                    places[key[0], self.truth.place(*key[:2])] += len(failures)
                self.same("rows, the host", "starts of row", self.rows, places)
            self.sum_of("row", self.stats[1], rows,
                        {row.key for request in requests for row in request.rows
                         if row.hap and row.hap.mixes_up})
        calls = {name: counts.calls for name, counts in self.stats[0].items()}
        if not self.whole or any(calls.get(name, 0) > len(haps[name]) for name in refused):
            for name, count in refused.items():
                haps[name] += [True] * count
        self.sum_of("HAP", self.stats[0], haps,
                    {hap.name for request in requests for hap in request.all_haps if hap.mixes_up})
        missing = sum(max(0, len(runs) - calls.get(name, 0)) for name, runs in haps.items())
        if self.whole and not self.exact:
            self.differ("stats", "runs of HAPs that are missing, more than are left out",
                        max(0, missing - self.report.left_out_runs), 0)
        if self.whole and not self.truth.plan["requester"]:
            for key, wait_ns in waits.items():
                self.differ("stats", "row %s: waited at least" % (key,),
                            min(self.trxctl.waits.get(key, 0), wait_ns), wait_ns)
        if self.exact:
            totals = collections.Counter(request.outcome for request in requests if request.parts)
            printed = dict(self.report.counts)
            printed["open"] += printed.pop("waits", 0)
            failed_unseen = min(max(printed["open"] - totals["open"], 0), self.unsure)
            totals["open"] += failed_unseen
            totals["failed"] -= failed_unseen
            for outcome in ("ok", "open"):
                self.differ("report", "requests: " + outcome, printed[outcome], totals[outcome])
            self.differ("report", "requests: failed and refused",
                        printed["failed"] + printed["refused"],
                        totals["failed"] + totals["refused"])

    def sum_of(self, what, printed, true, mixed_up=()):
        """Numbers of a ring whose start is lost do not exceed those of the host."""
        for key in sorted(set(printed) | set(true), key=str):
            calls, failures = printed.get(key, Counts(0, 0))
            most = Counts(len(true.get(key, ())), sum(true.get(key, ())))
            if what == "row" and key[2] != "HAP" or key in mixed_up or self.unsure:
                failures = most.failures
            if self.exact:
                self.differ("stats", "%s %s: calls, failures" % (what, key), (calls, failures),
                            tuple(most))
            elif what == "HAP" or key[0] != "?":
                more = max(0, calls - most.calls), max(0, failures - most.failures)
                self.differ("stats", "%s %s: more than there were" % (what, key), more, (0, 0))

    def single_requests(self):
        """The way and the replay of some tables, those that failed first."""
        paired = [(said, self.truth.at(said.pid, said.tid, said.start_ns)) for said in self.requests
                  if said.kind == "table" and said.id and said.number]
        paired = [(said, at[1]) for said, at in paired if at and at[0] == 0 and not at[1].ambiguous
                  and not at[1].uncertain and not at[1].is_refused]
        paired = [pair for pair in paired if pair[1].rows]
        paired.sort(key=lambda pair: pair[1].outcome != "failed")
        seen = {}
        for said, request in paired:
            seen.setdefault((request.outcome, len(request.parts) > 1), (said, request))
        for said, request in seen.values():
            label = "%s (request %d): " % (said, request.n)
            rows = collections.Counter((row.table, self.truth.place(*row.key[:2]))
                                       for row in request.rows)
            way = self.ask("way", said)
            if way is not None:
                self.same("way", label + "runs of row", way,
                          {row: min(count, MORE_TURNS) for row, count in rows.items()})
            replay = self.ask("replay", said)
            if replay is not None:
                self.differ("replay", label + "rows", [row[:3] for row in replay[0]],
                            [row.key[:3] for row in request.rows])
                # That errors were disabled is in no record.
                self.differ("replay", label + "the same", replay[3] or bool(request.errorsOff),
                            True)
                if request.first_row and not request.firstTable:
                    self.differ("replay", label + "first failing row", replay[2],
                                "/".join(request.first_row))
