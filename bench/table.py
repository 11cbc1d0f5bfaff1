#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Makes one table of the results of the benchmarks: table.py RESULT.json...

A ratio is made within each repetition, of figures measured right after each other, and the median
of the ratios is shown. The spread is that of the measured value, lowest to highest."""

import json
import statistics
import sys


def read(paths):
    """The repetitions of each benchmark by its name."""
    runs = {}
    for path in paths:
        with open(path, encoding="utf-8") as file:
            for entry in json.load(file)["benchmarks"]:
                if entry.get("run_type") == "iteration" and not entry.get("error_occurred"):
                    name = entry["name"].split("/iterations:")[0]
                    runs.setdefault(name, []).append(entry)
    return runs


def scaled(ns):
    for limit, unit in ((1e3, "ns"), (1e6, "us"), (1e9, "ms")):
        if ns < limit:
            return f"{ns / limit * 1e3:.3g} {unit}"
    return f"{ns / 1e9:.3g} s"


def count(value):
    return f"{value:.3g}"


class Row:
    """One row: `value` and `ratio` are made of a repetition; `aim` is the largest allowed ratio."""

    def __init__(self, work, name, value, ratio=None, unit="clocks", aim=None, show=scaled,
                 at_least=False, aim_text=None):
        self.work, self.name, self.value, self.ratio = work, name, value, ratio
        self.unit, self.aim, self.show, self.at_least = unit, aim, show, at_least
        self.aim_text = aim_text

    def cells(self, runs):
        if self.name not in runs:
            return [self.work, "not measured", "", "", self.text_of_aim(), ""]
        values = [self.value(run) for run in runs[self.name]]
        ratios = [self.ratio(run) for run in runs[self.name]] if self.ratio else values
        middle = statistics.median(ratios)
        ratio = f"{middle:.2f} {self.unit}" if self.ratio else ""
        return [self.work, self.show(statistics.median(values)),
                f"{self.show(min(values))} to {self.show(max(values))}", ratio,
                self.text_of_aim(), self.verdict(middle)]

    def text_of_aim(self):
        if self.aim is None:
            return ""
        if self.aim_text:
            return self.aim_text
        unit = f" {self.unit}" if self.ratio else ""
        return f"{'at least' if self.at_least else 'at most'} {self.aim:g}{unit}"

    def verdict(self, middle):
        if self.aim is None:
            return "stated"
        met = middle >= self.aim if self.at_least else middle <= self.aim
        return "yes" if met else "NO"


def counter(name):
    return lambda run: run[name]


def per_operation(run):
    return run["cpu_time"] / run.get("operations", 1)


def in_clocks(value):
    return lambda run: value(run) / run["clock_ns"]


def quotient(first, second):
    return lambda run: run[first] / run[second]


def beyond_records(run):
    return (per_operation(run) - run["records"] * run["record_ns"]) / run["clock_ns"]


def per_row(run):
    return run["first_ns"] / run["rows"]


def per_byte(run):
    return run["first_ns"] / run["bytes"]


def trace_rows():
    def record(work, name, aim):
        return Row(work, name, per_operation, in_clocks(per_operation), aim=aim)
    return [
        record("clock: clock_gettime(CLOCK_MONOTONIC)", "clock", None),
        record("trace record of 16 bytes into the ring", "record/ring", 1.5),
        Row("the same, each of 2 threads", "record/ring/two_threads", counter("two_ns"),
            in_clocks(counter("two_ns")), aim=2.0),
        record("the record into the ring by way of the logger", "record_by_logger/ring", None),
        record("trace record, nothing opened", "record/nothing_opened", 0.15),
        record("trace record, filtered by level", "record/filtered", 0.15),
        record("record by way of the logger, nothing opened",
               "record_by_logger/nothing_opened", None),
        record("record into the ring of the recorder, and on to the stand-in, nothing opened there",
               "recorder/ring", None),
        record("the same, with the stand-in's ring open too", "recorder/both_rings", None),
        record("with the recorder closed, into the stand-in's ring", "recorder/ring_of_platform",
               None),
        record("record filtered by the recorder, nothing opened", "recorder/filtered", None),
        record("record with the recorder closed, nothing opened", "recorder/nothing_opened", None),
        record("LTTng-UST record with process and thread id", "lttng/record", None),
        Row("ring record against LTTng-UST record", "lttng/record", counter("record_ns"),
            lambda run: run["record_ns"] / run["cpu_time"], "LTTng", 0.3)]


def request_rows():
    def beyond(work, name, aim):
        return Row(work, name, per_operation, beyond_records, "clocks beyond the records", aim,
                   aim_text=f"the records + {aim:g} clocks")

    def closed(work, name, aim):
        return Row(work, name, per_operation, in_clocks(per_operation), aim=aim)

    def records_of(work, name):
        return Row(work, name, counter("records"), show=count)

    def threads(work, function, modules, ring, aim):
        return Row(f"{work}, {'ring open' if ring else 'nothing opened'}",
                   f"{function}/{modules}/ring:{ring}", counter("two_ns"), counter("speedup"),
                   "times one", aim, at_least=True)
    rows = [
        records_of("records of a top-level execHAP", "request/ring:1"),
        beyond("top-level execHAP, ring open", "request/ring:1", 4),
        closed("top-level execHAP, nothing opened", "request/ring:0", 4),
        records_of("records of a table HAP row", "row/ring:1"),
        beyond("table HAP row, ring open", "row/ring:1", 2.5),
        closed("table HAP row, nothing opened", "row/ring:0", 2.5)]
    for ring in (0, 1):
        rows += [
            threads("rows, 2 threads, 2 modules", "rowsInThreads", "two_modules", ring, 1.7),
            threads("requests, 2 threads, 2 modules", "requestsInThreads", "two_modules", ring,
                    1.2),
            threads("rows, 2 threads, 1 module", "rowsInThreads", "one_module", ring, None),
            threads("requests, 2 threads, 1 module", "requestsInThreads", "one_module", ring, None)]
    return rows + [
        closed("getTRXID", "id", 0.2),
        Row("getTRXID in a child after fork", "id_after_fork", counter("later_ns"),
            in_clocks(counter("later_ns")), aim=0.2),
        Row("its first call there", "id_after_fork", counter("first_ns"),
            in_clocks(counter("first_ns")))]


def allocation_rows():
    def allocations(work, name, aim):
        return Row(f"allocations per {work}", name, counter("allocations"), aim=aim, show=count)
    return [
        allocations("trace record", "allocations/record", 0),
        allocations("table HAP row", "ofRow/short_name", 0),
        allocations("table HAP row, HAP name of 22 characters", "ofRow/long_name", 0),
        allocations("top-level request", "ofRequest/short_name", 2),
        allocations("top-level request, HAP name of 22 characters", "ofRequest/long_name", 2),
        allocations("top-level request on a new context", "allocations/request_on_new_context", 2)]


def load_rows(runs):
    def table(rows, label_every=0):
        return f"table/rows:{rows}/label_every:{label_every}"

    def growth(run, base):
        return per_row(run) / statistics.median(per_row(entry) for entry in runs[base])

    rows = [Row(f"table of {size} rows, per row", table(size), per_row,
                quotient("first_ns", "second_ns"), "times the CSV reader", 4)
            for size in (10, 1000, 100000)]
    if table(1000) in runs:
        rows.append(Row("row of 100000 against row of 1000", table(100000), per_row,
                        lambda run: growth(run, table(1000)), "times", 1.25, aim_text="flat"))
    rows.append(Row("10000 rows, error label on every tenth", table(10000, 10),
                    counter("first_ns"), lambda run: run["first_ns"] / 1e9, "s", 1))
    for size in (1000, 100000):
        if table(10000, 10) in runs:
            rows.append(Row(f"the same with {size} rows, per row", table(size, 10), per_row,
                            lambda run: growth(run, table(10000, 10)), "times a row of 10000"))
    return rows + [
        Row("CSV reader, per byte", "csv/itself", per_byte, per_byte, "ns", 4),
        Row("CSV reader against libcsv building the same rows", "csv/libcsv_same_rows",
            counter("first_ns"), quotient("first_ns", "second_ns"), "times libcsv", 1),
        Row("CSV reader against libcsv that only counts cells", "csv/libcsv_counting_only",
            counter("first_ns"), quotient("first_ns", "second_ns"), "times libcsv"),
        Row("load of 10 modules and 200 tables of 50 rows", "load", counter("first_ns"),
            quotient("first_ns", "second_ns"), "times dlopen and file reads", 2)]


def memory_rows():
    def growth(work, name):
        return Row(work, name, counter("growth_kb"), aim=256, aim_text="flat",
                   show=lambda kb: f"{kb:.0f} KB")
    return [growth("resident memory, growth over the last 7.5 of 10 million rows", "memory/rows"),
            growth("resident memory, growth over the last 750 of 1000 reloads", "memory/reloads")]


def main():
    runs = read(sys.argv[1:])
    lines = [["work", "median", "spread", "ratio", "aim", "met"]]
    for row in trace_rows() + request_rows() + allocation_rows() + load_rows(runs) + memory_rows():
        lines.append(row.cells(runs))
    lines.insert(1, ["---"] * 6)
    for line in lines:
        print("| " + " | ".join(line) + " |")


if __name__ == "__main__":
    main()
