// SPDX-License-Identifier: Apache-2.0
// A report as JSON.
#include <algorithm>
#include <map>
#include <optional>

#include "common/json.h"
#include "common/text.h"
#include "common/times.h"
#include "report/page.h"
#include "report/timed_json.h"
#include "trace/record_words.h"

namespace kw::trx::tools {
namespace {

constexpr const char* kKinds[] = {"table", "row", "hap"};

/// A row of a request with the time that its runs took together.
struct LongestRow {
  RowId row;
  Command command = Command::kNone;
  std::string name;
  std::uint64_t runs = 0;
  std::uint64_t time_ns = 0;  ///< without that of tables which it called
};

/// The row that took the longest time, of the spans that are kept; none when no row is.
std::optional<LongestRow> longestRowOf(const KeptRequest& request) {
  std::map<RowId, LongestRow> rows;
  std::optional<LongestRow> longest;
  for (const Span& span : request.spans) {
    if (!span.isRow()) {
      continue;
    }
    LongestRow& row = rows[span.row];
    const std::uint64_t all_ns = span.durationNs();
    row.time_ns += all_ns - std::min(all_ns, span.nested_ns);
    ++row.runs;
    row = {span.row, span.command, span.name, row.runs, row.time_ns};
    if (!longest || row.time_ns > longest->time_ns) {
      longest = row;
    }
  }
  return longest;
}

/// Writes a report. Times are written as they count from its first record.
class Writer {
 public:
  Writer(const Report& report, JsonWriter& json)
      : report_(report), timed_(json, report.start_ns), json_(json) {}

  void write() {
    startOutput("report", json_);
    writeHead();
    writeCounts();
    writeFailures(report_, timed_);
    writeKept();
    writeThreads();
    writeNames();
    writeHAPs();
    writeTables(report_, json_);
    writeConfiguration();
    writeMachine();
    json_.endObject();
  }

 private:
  void writeHead() {
    json_.member("tool", "trxctl " + report_.version);
    json_.member("made", localTimeText(static_cast<std::int64_t>(report_.made_s)));
    json_.texts("rings", report_.rings);
    json_.member("originNs", std::to_string(report_.start_ns));
    json_.member("origin", localMicrosText(report_.start_ns));
    timed_.time("endNs", report_.end_ns);
    json_.key("records").number(report_.records);
    json_.key("leftOutRuns").number(report_.left_out_runs);
    json_.key("suspect").number(report_.losses.suspect).key("lost").number(report_.losses.lost);
    json_.texts("missing", textOf(report_.losses));
    json_.texts("leftOut", report_.left_out);
  }

  void writeCounts() {
    std::uint64_t all = 0;
    for (const auto& [ending, count] : report_.requests) {
      all += count;
    }
    json_.key("requests").beginObject().key("all").number(all);
    for (const Ending ending :
         {Ending::kSucceeded, Ending::kFailed, Ending::kRefused, Ending::kWaits, Ending::kOpen}) {
      const auto count = report_.requests.find(ending);
      json_.key(nameOf(ending)).number(count == report_.requests.end() ? 0 : count->second);
    }
    json_.endObject();
  }

  void writeKept() {
    json_.key("kept").beginArray();
    for (const KeptRequestPtr& request : report_.kept) {
      json_.beginObject();
      timed_.request(request->request());
      if (request->request().ending != Ending::kSucceeded) {
        json_.member("message", outcomeText(request->summary, report_.meaning));
      }
      if (request->request().ending == Ending::kOpen) {
        writeOpen(*request);
      }
      json_.key("slices").beginArray();
      writeSpans(request->spans);
      json_.endArray();
      if (request->spans_left_out != 0) {
        json_.key("slicesLeftOut").number(request->spans_left_out);
      }
      json_.endObject();
    }
    json_.endArray();
  }

  /// What a request that may hang was about.
  void writeOpen(const KeptRequest& request) {
    const RequestSummary& summary = request.summary;
    json_.member("lastRecord", describe(request.request().last)).member("often", summary.often);
    json_.member("where", summary.where);
    std::string repeated;
    if (summary.repeated_row) {
      repeated = rowText(*summary.repeated_row) + " has failed " +
                 std::to_string(summary.repeated_times) +
                 " times: " + textOf(summary.repeated, report_.meaning);
    }
    json_.member("repeated", repeated);
    if (const std::optional<LongestRow> row = longestRowOf(request)) {
      tools::write(row->row, json_.key("longest").beginObject().key("row"));
      json_.member("rowCommand", wordOf(row->command));
      json_.member("name", row->name).key("runs").number(row->runs);
      json_.key("ns").number(row->time_ns).endObject();
    }
  }

  /// Outer ones before inner ones, each with how deep it lies.
  void writeSpans(std::vector<Span> spans) {
    std::reverse(spans.begin(), spans.end());
    std::stable_sort(spans.begin(), spans.end(), [](const Span& a, const Span& b) {
      return a.start_ns != b.start_ns ? a.start_ns < b.start_ns : a.end_ns > b.end_ns;
    });
    std::vector<const Span*> around;
    for (const Span& span : spans) {
      while (!around.empty() && !isInside(span, *around.back())) {
        around.pop_back();
      }
      around.push_back(&span);
      writeSpan(span, around.size());
    }
  }

  /// The last row of a table may take no time, and starts when the table ends.
  static bool isInside(const Span& inner, const Span& outer) {
    const bool is_row_of_it =
        inner.isRow() && outer.kind == Span::Kind::kTable && inner.row.table == outer.name;
    return inner.end_ns <= outer.end_ns && (inner.start_ns < outer.end_ns || is_row_of_it);
  }

  void writeSpan(const Span& span, std::size_t depth) {
    json_.beginObject().member("kind", kKinds[static_cast<int>(span.kind)]);
    json_.member("name", span.name).key("depth").number(depth);
    timed_.time("startNs", span.start_ns);
    timed_.time("endNs", span.end_ns);
    if (span.isRow()) {
      tools::write(span.row, json_.key("row"));
      json_.member("rowCommand", wordOf(span.command));
    }
    if (span.failed()) {
      json_.key("failed").boolean(true);
    }
    if (span.failure.has_code && span.failure.code != 0) {
      json_.member("code", hexText(span.failure.code));
    }
    if (span.lock_wait_ns != 0) {
      json_.key("lockWaitNs").number(span.lock_wait_ns);
    }
    if (!span.has_ended) {
      json_.key("cut").boolean(true);
    }
    json_.endObject();
  }

  void writeThreads() {
    json_.key("threads").beginArray();
    for (const ThreadLane& lane : report_.lanes) {
      const std::vector<ThreadLoad>& cells = lane.load.cells();
      ThreadLoad all;
      for (const ThreadLoad& cell : cells) {
        all += cell;
      }
      json_.beginObject().key("ring").number(lane.ring);
      json_.key("process").number(lane.process_id);
      json_.key("thread").number(lane.thread_id).key("requests").number(all.requests);
      json_.key("failed").number(all.failed).key("bucketNs").number(lane.load.widthNs());
      // Each: its place, requests that started in it, those of them that failed, time with a
      // request.
      json_.key("load").beginArray();
      for (std::size_t i = 0; i < cells.size(); ++i) {
        if (cells[i].requests != 0 || cells[i].busy_ns != 0) {
          json_.beginArray().number(i).number(cells[i].requests).number(cells[i].failed);
          json_.number(cells[i].busy_ns).endArray();
        }
      }
      json_.endArray().endObject();
    }
    json_.endArray().key("threadsAll").number(report_.threads);
  }

  void writeNames() {
    json_.key("names").beginArray();
    for (const NamedRequests& name : report_.names) {
      json_.beginObject().member("kind", nameOf(name.kind)).member("name", name.name);
      json_.key("count").number(name.durations.count()).key("failed").number(name.failed);
      json_.key("others").number(name.others);
      writeDurations(name.durations, json_);
      json_.endObject();
    }
    json_.endArray().key("otherNames").number(report_.other_names);
  }

  /// Those with the longest time together first.
  void writeHAPs() {
    const std::size_t max = report_.bounds.haps;
    const auto haps = report_.statistics.byOwnTime(true);
    json_.key("haps").beginArray();
    for (std::size_t i = 0; i < std::min(haps.size(), max); ++i) {
      json_.beginObject().member("name", haps[i]->first.name);
      writeFigures(haps[i]->second, json_);
      json_.endObject();
    }
    json_.endArray().key("otherHaps").number(haps.size() - std::min(haps.size(), max));
  }

  void writeConfiguration() {
    json_.key("configuration").beginObject();
    json_.member("problem", report_.configuration.problem);
    for (const bool is_warning : {false, true}) {
      json_.key(is_warning ? "warnings" : "values").beginArray();
      for (const ConfigEntry& entry : report_.configuration.entries) {
        if (entry.is_warning == is_warning) {
          json_.beginObject().member("key", entry.key).member("message", entry.message);
          json_.member("file", entry.line == 0 ? "" : entry.file);
          json_.key("line").number(entry.line).endObject();
        }
      }
      json_.endArray();
    }
    json_.endObject();
  }

  void writeMachine() {
    json_.key("machine").beginArray();
    for (const Diagnosis& one : report_.machine) {
      json_.beginObject().member("severity", nameOf(one.verdict)).member("subject", one.subject);
      json_.member("message", one.message).member("advice", one.remedy).endObject();
    }
    json_.endArray();
  }

  const Report& report_;
  const TimedJson timed_;
  JsonWriter& json_;
};

/// What an element of HTML could take for its end, and what a script could take for the end of a
/// line, stands inside of texts alone.
std::string embeddable(const std::string& json) {
  constexpr char line_ends[] = "\xe2\x80\xa8\xe2\x80\xa9";
  std::string out;
  out.reserve(json.size() + json.size() / 8);
  for (std::size_t at = 0; at < json.size(); ++at) {
    const char c = json[at];
    if (c == '<' || c == '>' || c == '&') {
      out += c == '<' ? "\\u003c" : c == '>' ? "\\u003e" : "\\u0026";
    } else if (c == line_ends[0] && json.compare(at, 3, line_ends, 3) == 0) {
      out += "\\u2028";
      at += 2;
    } else if (c == line_ends[0] && json.compare(at, 3, line_ends + 3, 3) == 0) {
      out += "\\u2029";
      at += 2;
    } else {
      out += c;
    }
  }
  return out;
}

}  // namespace

std::string jsonOf(const Report& report) {
  JsonWriter json(-1);
  Writer(report, json).write();
  return embeddable(json.taken());
}

}  // namespace kw::trx::tools
