# SPDX-License-Identifier: Apache-2.0
"""What a truth host did, read from its truth file. A small interpreter of tables finds the
rows from the outcomes of the HAPs; a result of the engine that contradicts it raises ValueError."""
import json

WAIT_HANDED, STOPPED, REFUSED = 0x70003, 0x70002, (0x70001, 0x70007, 0x70008, 0x70009)
HAP_FAILED, TABLE_FAILED, LOCK, UNDEFINED = 0x7000a, 0x7000b, 0x7000c, 0x1000001
TABLE_MISSING = 0x1000002


def plain(text):
    """One spelling of a name, whatever way its bytes are shown: what is no ASCII as \\xHH."""
    text = text.replace("\\t", "\\x09")
    return "".join(c if " " <= c <= "~" else "\\x%02x" % (ord(c) & 0xff if "\udc80" <= c <= "\udcff"
                                                         else ord(c)) for c in text)


class Hap:
    def __init__(self, line):
        self.__dict__.update(line)
        self.name, self.units = plain(self.name), [plain(unit) for unit in self.units]
        self.out, self.code, self.inside = None, 0, []  # inside: calls, in their order

    @property
    def ended(self):
        return self.out is not None

    @property
    def failed(self):
        return self.out not in (None, "ok")

    @property
    def mixes_up(self):
        """Whether a failure inside may be this HAP's or that of one of its own name: the records
        of a failure and of an end have the name alone."""
        return any(call["hap"] and call["hap"].failed and call["name"] == self.name
                   for call in self.inside)

    def chain(self):
        """Names and codes that the failure of this HAP may be printed with: its own, and those of
        the HAP whose exception it let through."""
        found = [(self.name, self.code)]
        last = self.inside[-1] if self.inside else {}
        if self.out in ("throw", "foreign") and last.get("out") == self.out and (
                last["code"] == self.code):
            found += last["hap"].chain() if last["hap"] else [
                (last["name"], UNDEFINED), (last["name"], HAP_FAILED)]
        return found


class Row:
    def __init__(self, table, cells, part):
        self.table, (_, self.number, self.command, self.name, self.mode, self.error) = table, cells
        self.part, self.hap, self.failed, self.ended = part, None, False, True
        self.is_recorded = False  # the engine keeps the first such row in its error record
        self.wait = int(self.mode or 0) if self.command == "WAIT" else 0

    @property
    def key(self):
        called = self.name if self.command in ("HAP", "TABLE") else ""
        return (self.table, self.number, self.command, called)


class Request:
    def __init__(self, line):
        self.__dict__.update(line)
        self.name, self.mode = plain(self.name), plain(self.mode)
        self.units = [plain(unit) for unit in self.units]
        self.is_refused = bool(line.get("refused"))
        self.parts, self.haps, self.all_haps, self.rows = [], [], [], []
        self.ambiguous = self.uncertain = False

    @property
    def refused_haps(self):
        """Names of HAPs that were asked for and did not run."""
        names = [call["name"] for hap in self.all_haps for call in hap.inside
                 if call["hap"] is None and "out" in call]
        names += [row.name for row in self.rows if row.command == "HAP" and row.hap is None]
        alone = self.kind == "hap" and not self.haps and self.outcome == "failed"
        return names + ([self.name] if alone else [])

    @property
    def last(self):
        return self.parts[-1].get("end") if self.parts else None

    @property
    def outcome(self):
        if self.last is None or self.last.get("waits"):
            return "open"
        if self.is_refused or (self.last["code"] in REFUSED and not self.haps and not self.rows):
            return "refused"
        return "ok" if self.last["out"] == "ok" else "failed"

    @property
    def first_row(self):
        """The first failing row, as the engine's error record has it, of this request."""
        if self.kind != "table" or not self.last or not self.last.get("table"):
            return None
        own = any(row.is_recorded for row in self.rows)
        return (plain(self.last["table"]), "%x" % self.last["row"]) if own else None


class Interpreter:
    """Runs the table of a request as far as its parts and HAPs got."""

    def __init__(self, truth, request):
        self.truth, self.request = truth, request
        self.haps = iter(request.haps)
        self.stack = []  # lists of table, index, ended with error, row that called the next one
        self.marked, self.error_end = request.marked, request.errorEnd
        self.part = 0

    def run(self):
        for self.part, part in enumerate(self.request.parts):
            end = part.get("end")
            if end is not None and end["code"] in REFUSED and not any(
                    hap.part == self.part for hap in self.request.haps):
                continue
            if not self.stack:
                self.stack = [[self.request.name, 0, False, None]]
            said = self.tables()
            if end is None:
                return
            printed = "foreign" if end["out"] == "foreign" else end["code"]
            if said != printed:
                raise ValueError("the interpreter says %s, the engine %s, of request %d" %
                                 (said, printed, self.request.n))

    def tables(self):
        while self.stack:
            top = self.stack[-1]
            called = None
            rows = self.truth.tables.get(top[0])
            if rows is None:
                top[1], top[2] = -1, True
            while top[1] >= 0:
                if self.truth.stop_seen(self.request, self.part, self.request.rows):
                    self.close(len(self.stack))
                    return STOPPED
                said = self.row(top, rows[top[1]], rows)
                if said is not None and said[0] == "leave":
                    return said[1]
                if said is not None:
                    called = said[1]
                    break
            if called:
                if sum(entry[0] == called for entry in self.stack) > self.truth.table_limit:
                    self.close(len(self.stack))
                    return TABLE_FAILED
                self.stack.append([called, 0, False, None])
                continue
            self.stack.pop()
            self.error_end = self.error_end or top[2]
            if self.stack and self.error_end:
                self.stack[-1][1] = -1
            if self.stack and self.stack[-1][3]:
                self.stack[-1][3].ended = True
        return TABLE_FAILED if self.error_end else 0

    def close(self, depth):
        for entry in self.stack[:depth]:
            if entry[3]:
                entry[3].ended = True
        self.stack = []

    def row(self, top, cells, rows):
        row = Row(top[0], cells, self.part)
        self.request.rows.append(row)
        jump = next((i for i, other in enumerate(rows) if other[0] == row.error), None)
        top[1] += 1
        if row.command == "END":
            top[1], top[2] = -1, top[2] or row.name != ""
        elif row.command == "TABLE" and row.name:
            row.ended, top[3] = False, row
            return "call", row.name
        elif row.command == "TABLE":
            top[1] = -1
        elif row.command == "WAIT" and row.wait and self.truth.plan["requester"]:
            return "leave", WAIT_HANDED
        elif row.command == "CHECK" and self.marked:
            row.failed = True
            top[1], top[2] = (jump, top[2]) if row.error else (-1, True)
        elif row.command == "HAP":
            return self.hap_row(row, top, jump, top[1] - 1)
        return None

    def hap_row(self, row, top, jump, at):
        said, disabled = "throw", row.error == "NOP"
        if self.truth.runs(self.request, row.name):
            row.hap = hap = next(self.haps, None)
            if hap is None or not hap.ended:
                row.ended = False
                return "leave", "nothing"
            if (plain(hap.table), hap.index) != (top[0], at):
                raise ValueError("HAP %d ran in row %d of table %s, not in %d of %s" %
                                 (hap.h, hap.index, hap.table, at, top[0]))
            said = "ok" if hap.out == "fail" and hap.disabled else hap.out
            row.failed = hap.failed
        else:
            row.failed = True
        if said == "foreign":
            row.ended = True
            return "leave", "foreign"
        if said == "ok" or disabled:
            return None
        row.is_recorded = True
        if row.error == "STACK":
            self.marked = 1
        elif row.error:
            top[1] = jump
        else:
            top[1], top[2] = -1, True
        return None


class Truth:
    def __init__(self, path):
        self.requests, self.haps, self.calls, self.dead = {}, {}, {}, set()
        self.product_traces = 0
        self.waiting = {}
        with open(path, encoding="ascii") as lines:
            for line in lines:
                line = json.loads(line)
                getattr(self, "take_" + line["e"], lambda line: None)(line)
        for request in self.requests.values():
            if request.kind == "table" and not request.is_refused and not request.uncertain:
                Interpreter(self, request).run()
        self.of_thread = {}
        for request in self.requests.values():
            for index, part in enumerate(request.parts):
                self.of_thread.setdefault((part["pid"], part["tid"]), []).append(
                    (part["t"], part["end"]["t"] if "end" in part else 1 << 63, index, request))

    def runs(self, request, name):
        """Whether a HAP of a row of the request is called at all."""
        return name != "TRU_None" and not (self.plan["exclusion"] and request.__dict__["in"])

    def stop_seen(self, request, part, rows):
        """The flag is set by a HAP, and seen before the row behind it."""
        return any(hap.stopped for hap in request.haps if hap.part == part and hap.ended and
                   hap in [row.hap for row in rows])

    def place(self, table, number):
        """Place of a row in its table, counted from START as 0."""
        return [cells[1] for cells in self.tables[table]].index(number)

    def take_plan(self, line):
        self.plan, self.table_limit = line, line["tableLimit"]
        self.tables = {plain(name): rows for name, rows in line["tables"].items()}

    def take_request(self, line):
        self.requests[line["n"]] = Request(line)

    def take_part(self, line):
        request = self.requests[line["n"]]
        key = (line["pid"], request.id, request.name)
        waiting = self.waiting.setdefault(key, set())
        if request.parts and waiting != {request.n}:
            for number in waiting:
                self.requests[number].ambiguous = True
        waiting.discard(request.n)
        request.parts.append(line)

    def take_partEnd(self, line):
        request = self.requests[line["n"]]
        request.parts[-1]["end"] = line
        if line.get("waits"):
            self.waiting[(line["pid"], request.id, request.name)].add(request.n)

    def take_hap(self, line):
        hap = self.haps[line["h"]] = Hap(line)
        request = self.requests[hap.n]
        hap.part = len(request.parts) - 1
        request.all_haps.append(hap)
        if line["in"] == 0:
            request.haps.append(hap)
        else:
            self.haps[line["in"]].inside[-1]["hap"] = hap

    def take_hapEnd(self, line):
        hap = self.haps[line["h"]]
        hap.out, hap.code, hap.disabled = line["out"], line["code"], line["disabled"]
        hap.stopped = line["stopped"]

    def take_call(self, line):
        line["hap"], line["name"] = None, plain(line["name"])
        self.calls[line["c"]] = line
        self.haps[line["in"]].inside.append(line)

    def take_callEnd(self, line):
        self.calls[line["c"]].update(out=line["out"], code=line["code"])

    def take_productTrace(self, line):
        self.product_traces += 1

    def take_suddenDeath(self, line):
        self.dead.add(line["of"])
        for request in self.requests.values():
            if request.pid == line["of"] and request.last is None:
                request.uncertain = True

    def at(self, pid, tid, time_ns):
        """The innermost request, and which part of it, that the thread was in; None: in none."""
        inside = [span for span in self.of_thread.get((pid, tid), ())
                  if span[0] <= time_ns <= span[1]]
        return max(inside, key=lambda span: span[0])[2:] if inside else None
