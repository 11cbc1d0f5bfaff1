# SPDX-License-Identifier: Apache-2.0
"""Opens pages of trxctl report in a browser: page_test.py CHROMIUM TRXCTL WRITE_RING. What a page shows
must be what --json prints, whatever names a trace holds; it must ask for nothing outside of it, be
usable by keys and on a phone, and open quickly with many requests."""
import datetime
import json
import os
import re
import subprocess
import sys
import tempfile
import time
from decimal import ROUND_HALF_UP, Decimal

from browser import Browser

FEW, MANY = 3000, 100000
MIN_CONTRAST, MAX_BYTES = 4.5, 5_000_000
PHONE, MAX_PHONE_HEIGHT = 390, 8000
TABLE = """FORMAT,0
VERSION,2
,1,START,,,,,,
again,2,HAP,PSU_Set,,NOP,ce4,,
,1f,HAP,ADC_Read,,off,1 2,,
,20,END,,,,,,
off,21,HAP,PSU_Off,fast,again,,,
,23,END,DESK_FAILED,,,,,
"""
problems = []


def expect(what, shown, expected):
    if shown != expected:
        problems.append(what)
        print(f"FAILED {what}\n  shown:    {str(shown)[:1500]}\n  expected: {str(expected)[:1500]}")


def row_name(row):
    return f"{row['table']}/{row['number']}" if row else "None"


def count(number):
    return str(number) if number < 10000 else f"{number:,}".replace(",", "\u202f")


def duration(ns):
    for unit, size in (("s", 10**9), ("ms", 10**6), ("µs", 10**3)):
        if ns >= size:
            digits = "1" if ns >= 100 * size else "0.1" if ns >= 10 * size else "0.01"
            return f"{Decimal(ns / size).quantize(Decimal(digits), ROUND_HALF_UP)} {unit}"
    return f"{ns} ns"


class Expected:
    """The texts of a page by the JSON of its report."""

    def __init__(self, report):
        self.report = report
        date, clock, micros = re.match(r"(\S+) (\S+)\.(\d{6})", report["origin"]).groups()
        self.origin = datetime.datetime.fromisoformat(f"{date} {clock}") + datetime.timedelta(microseconds=int(micros))
        self.rest = int(report["originNs"]) % 1000

    def exactly(self, ns):
        return (self.origin + datetime.timedelta(microseconds=(ns + self.rest) // 1000)).strftime("%H:%M:%S.%f")

    def clock(self, ns):
        return self.exactly(ns)[:12]

    def place(self, group):
        return row_name(group["firstFailingRow"]) if group["firstFailingRow"] else ""

    def cause(self, group):
        return f"{group['code']} {group['meaning']}"

    def overview(self):
        return [[count(group["count"]) + "×", "table " + group["name"], self.place(group), group["hap"],
                 self.cause(group), self.clock(group["firstNs"]), self.clock(group["lastNs"]), ""]
                for group in self.report["failures"]]

    def facts(self):
        group = self.report["failures"][0]
        last, after = self.clock(group["lastNs"]), group["succeededAfterNs"]
        return [f"not known to be over: no such request has succeeded since the last failure at {last}" if after is None
                else f"not since {last}: such a request succeeded again, last at {self.clock(after)}",
                "0xce4 (3300) 0x1267 (4711)"]

    def status(self):
        group = self.report["failures"][0]
        last = self.report["kept"][group["last"]]
        return (f"table {last['name']} started {self.exactly(last['startNs'])}, took {duration(last['endNs'] - last['startNs'])}, "
                f"process/thread {last['process']}/{last['thread']}, request {last['request']}.{last['requestNumber']}: "
                f"{group['message']} Its story")

    def stories(self):
        return [[[record["level"], record["message"]] for record in group["records"]] for group in self.report["failures"]]

    def steps(self):
        all_steps = []
        for group in self.report["failures"]:
            steps = []
            for part in self.report["kept"][group["last"]]["slices"]:
                name = " " + part["name"] if part["name"] else ""
                start = {"row": f"{row_name(part.get('row'))} {part.get('rowCommand')}",
                         "table": "table", "hap": "HAP"}[part["kind"]]
                result = "failed" + (" " + part["code"] if "code" in part else "") if part.get("failed") else \
                    "" if part["kind"] == "table" else "ok"
                steps.append([start + name, duration(part["endNs"] - part["startNs"]), result])
            all_steps.append(steps)
        return all_steps

    def table_rows(self, table):
        numbers = {row["at"]: row["number"] for row in table["rows"]}
        rows = []
        for row in table["rows"]:
            jump = f" → {numbers[row['jump']]}" if "jump" in row else ""
            ran = row["runs"] > 0
            went = "never ran" if not ran else f"{count(row['failures'])} failed" if row["failures"] else ""
            rows.append([row["number"], row["label"], row["rowCommand"], row["name"], row["mode"], row["error"] + jump,
                         row["para"], count(row["runs"]), went, duration(row["medianNs"]) if ran else "",
                         duration(row["maxNs"]) if ran else ""])
        return rows

    def foreign_rows(self, table):
        return [[row["number"], row["rowCommand"], row["name"], count(row["runs"]),
                 f"{count(row['failures'])} failed" if row["failures"] else "", duration(row["medianNs"]),
                 duration(row["maxNs"])] for row in table["foreign"]]

    @staticmethod
    def figures(one, calls, failures):
        return [count(one[calls]), count(one[failures])] + [
            duration(one[key]) for key in ("minNs", "medianNs", "p99Ns", "maxNs", "sumNs")]

    def names(self):
        return [["table " + one["name"]] + self.figures(one, "count", "failed") for one in self.report["names"]]

    def haps(self):
        return [[one["name"]] + self.figures(one, "calls", "failures") +
                [duration(one[key]) for key in ("ownNs", "lockNs", "lockWaitNs")] for one in self.report["haps"]]

    def machine(self):
        return [[one["subject"], one["severity"], one["message"], one["advice"]] for one in self.report["machine"]]


ROWS = "[...document.querySelectorAll(%s)].map(row => [...row.cells].map(cell => cell.textContent))"


def rows_of(browser, selector):
    return browser.run(ROWS % json.dumps(selector + " tbody tr"))


def make_page(trxctl, ring, output, *options):
    start = time.monotonic()
    subprocess.run([trxctl, "report", ring, "-o", output, *options], check=True)
    seconds = time.monotonic() - start
    written = output + ".json"
    subprocess.run([trxctl, "report", ring, "--json", "-o", written, *options], check=True)
    with open(written, encoding="utf-8") as file:
        report = json.load(file)
    with open(output, encoding="utf-8") as file:
        page = file.read()
    before = '<script type="application/json" id="report">'
    at = page.index(before) + len(before)
    shown = json.loads(page[at:page.index("</script>", at)])
    report["made"] = shown["made"]
    expect("the report in the page is what --json writes", shown, report)
    return shown, seconds


def check_content(browser, report):
    wanted = Expected(report)
    bad = report["requests"]["failed"]
    expect("title", browser.run("document.title"),
           f"{count(bad)} of {count(report['requests']['all'])} requests failed; 1 has not ended – trace report")
    expect("counts", browser.run("document.getElementById('counts').textContent"),
           f"{count(report['requests']['succeeded'])} succeeded{count(bad)} failed1 not ended")
    expect("sections", browser.run("[...document.querySelectorAll('section')].map(e => e.id)"),
           ["failures", "open", "stories", "timeline", "tables", "statistics", "configuration", "machine", "left-out"])
    expect("the first story alone is open", browser.run("[...document.querySelectorAll('.story')].map(e => e.open)"),
           [at == 0 for at in range(len(report["failures"]))])
    expect("kinds of failures", len(report["failures"]), 9)
    expect("failures", rows_of(browser, "#overview"), wanted.overview())
    expect("records of the stories", [[row[1:] for row in rows_of(browser, f"#failure-{at + 1} [aria-label='Its records']")]
                                      for at in range(len(report["failures"]))], wanted.stories())
    expect("steps of the stories", [[row[1:] for row in rows_of(browser, f"#failure-{at + 1} [aria-label='What ran in it']")]
                                    for at in range(len(report["failures"]))], wanted.steps())
    facts = browser.run("[...document.querySelectorAll('#failure-1 dt')].map(e => [e.textContent, e.nextSibling.textContent])")
    expect("what stands first", [term for term, _ in facts[:5]], ["what failed", "since", "still happening?", "unit", "what to do"])
    expect("facts of the story", [dict(facts)[term] for term in ("still happening?", "detail")], wanted.facts())
    expect("rows of the table", rows_of(browser, "#tables .flow"), wanted.table_rows(report["tables"][0]))
    expect("rows of another file", rows_of(browser, "#tables .foreign"), wanted.foreign_rows(report["tables"][0]))
    expect("jumps", browser.run("[document.querySelectorAll('#tables .flow path.head').length,"
                                "document.querySelectorAll('#tables .flow path.head.taken').length]"), [2, 1])
    expect("requests by name", rows_of(browser, "#statistics [aria-label='Requests by name']"), wanted.names())
    expect("HAPs", rows_of(browser, "#statistics [aria-label='HAPs']"), wanted.haps())
    expect("machine", rows_of(browser, "#machine"), wanted.machine())
    expect("elements that names could have made", browser.run(
        "[document.scripts.length, document.images.length, document.querySelectorAll('b b, iframe, object, link').length]"), [2, 0, 0])


def check_keys(browser, report):
    browser.run("document.body.focus()")
    browser.press("Tab", 9)
    expect("first stop", browser.run("document.activeElement.className"), "skip")
    expect("focus is seen", browser.run("getComputedStyle(document.activeElement).outlineStyle !== 'none' &&"
                                        "document.activeElement.getBoundingClientRect().left >= 0"), True)
    browser.press("Enter", 13, "\r")
    browser.wait("document.activeElement.id === 'main'")
    for _ in range(200):
        browser.press("Tab", 9)
        if browser.run("document.activeElement.id === 'line'"):
            break
    part = lambda: browser.run("[Number(line.dataset.from), Number(line.dataset.to)]")
    whole = [0, report["endNs"]]
    expect("all of the timeline", part(), whole)
    browser.press("+", 187, "+")
    first, last = part()
    expect("+ shows half of it", abs(last - first - report["endNs"] / 2) <= 2, True)
    browser.press("ArrowRight", 39)
    expect("the arrow moves", part()[0] > first and part()[1] > last, True)
    browser.press("0", 48, "0")
    expect("0 shows all", part(), whole)
    browser.press("-", 189, "-")
    expect("there is no more than all", part(), whole)
    browser.press("n", 78, "n")
    failed = next(one for one in report["kept"] if one["ending"] == "failed")
    expect("n shows the first failure", failed["message"] in browser.run("document.querySelector('#timeline .status').textContent"), True)
    expect("and where it is", part()[0] <= failed["startNs"] and part()[1] >= failed["endNs"] and part() != whole, True)


def check_story_in_timeline(browser, report):
    browser.run("document.querySelector('#failure-1 button').click()")
    expect("the story in the timeline", browser.run("document.querySelector('#timeline .status').textContent"),
           Expected(report).status())


# The contrast of each text with what lies behind it, when it is too low.
CONTRAST = """(() => {
  const light = (colour) => {
    const part = colour.match(/[\\d.]+/g).slice(0, 3).map((c) => c / 255).map((c) => c <= 0.03928 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4);
    return 0.2126 * part[0] + 0.7152 * part[1] + 0.0722 * part[2];
  };
  const behind = (e) => {
    for (; e; e = e.parentElement) {
      const colour = getComputedStyle(e).backgroundColor;
      if (colour !== 'rgba(0, 0, 0, 0)') return colour;
    }
    return 'rgb(255, 255, 255)';
  };
  const found = new Map();
  for (const e of document.querySelectorAll('body :not(svg *, script, style, noscript, .unseen)')) {
    if (![...e.childNodes].some((n) => n.nodeType === 3 && n.textContent.trim())) continue;
    const [a, b] = [light(getComputedStyle(e).color), light(behind(e))];
    const ratio = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
    found.set(e.tagName + '.' + e.className, Math.min(ratio, found.get(e.tagName + '.' + e.className) || 99));
  }
  return [...found].filter(([, ratio]) => ratio < MIN);
})()""".replace("MIN", str(MIN_CONTRAST))


# Cells whose text stands in columns of a few letters, with all that is closed opened.
TOO_NARROW = """(() => {
  document.querySelectorAll('details').forEach((e) => { e.open = true; });
  return [...document.querySelectorAll('tbody th, tbody td, caption:not(.unseen)')]
    .filter((e) => e.textContent.length > 12 && e.offsetWidth > 1 && e.offsetWidth < 60)
    .map((e) => e.textContent.slice(0, 40));
})()"""


def check_looks(browser, page):
    for width, scheme in ((PHONE, "light"), (PHONE, "dark"), (1280, "dark"), (1280, "light")):
        browser.resize(width, 844)
        browser.colours(scheme)
        browser.open(page)
        browser.wait("document.body.dataset.whole === 'yes'")
        expect(f"the page is no wider than {width}", browser.run("document.documentElement.scrollWidth") <= width, True)
        if width == PHONE:
            height = browser.run("document.documentElement.scrollHeight")
            expect(f"the page is not too long for a phone: {height}", height < MAX_PHONE_HEIGHT, True)
        expect(f"narrow cells at {width}", browser.run(TOO_NARROW), [])
        expect(f"the page is no wider than {width} when all is open", browser.run("document.documentElement.scrollWidth") <= width, True)
        expect(f"pictures are not stretched at {width}", browser.run(
            "[...document.querySelectorAll('#line svg')].every(e => Math.abs(e.getBoundingClientRect().width - e.viewBox.baseVal.width) < 1)"), True)
        expect(f"contrasts, {scheme}, {width}", browser.run(CONTRAST), [])


def main():
    chromium, trxctl, write_ring = sys.argv[1:4]
    with tempfile.TemporaryDirectory() as folder, Browser(chromium) as browser:
        path = lambda name: os.path.join(folder, name)
        with open(path("desk.csv"), "w", encoding="utf-8") as table:
            table.write(TABLE)
        for requests in (FEW, MANY):
            subprocess.run([write_ring, path("trace.ring"), str(requests)], check=True)
            report, seconds = make_page(trxctl, path("trace.ring"), path("page.html"), "--tables", folder)
            expect("requests", report["requests"]["all"], requests + 1)
            size = os.path.getsize(path("page.html"))
            _, drawn = browser.open(path("page.html"))
            browser.wait("document.body.dataset.whole === 'yes'")
            print(f"{requests} requests: written in {seconds:.2f} s, {size} bytes, drawn after {drawn} ms")
            expect("the page is small", size < MAX_BYTES, True)
            check_content(browser, report)
            check_keys(browser, report)
            check_story_in_timeline(browser, report)
        check_looks(browser, path("page.html"))
        expect("what the browser complains of", browser.complaints, [])
    return 1 if problems else 0


sys.exit(main())
