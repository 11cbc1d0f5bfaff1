// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "common/times.h"
#include "configuration/configuration.h"
#include "kw/platform.h"
#include "tables/row_notes.h"
#include "tables/surroundings.h"
#include "traces/doubts.h"
#include "traces/placing.h"
#include "traces/seen_names.h"
#include "traces/selection.h"
#include "trxctl/commands.h"
#include "trxctl/ring_watch.h"
#include "trxctl/text_output.h"
#include "trxctl/timeline.h"
#include "trxctl/trace_output.h"
#include "trxctl/trace_summary.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

using kw::platform::TraceRecord;

constexpr std::size_t kIdMost = 0xffffffff;
constexpr char kDefaultRing[] = "/trace.ring";

struct TraceOptions {
  std::string file, request, perfetto;
  Selection selection;
  bool follow = false;
  bool json = false;
  bool summary = false;
  bool rows = false;
  std::vector<std::string> tables;
  SummaryOptions requests;
};

/// The tables whose rows are shown; none: rows are not.
std::optional<KnownTables> tablesFor(const TraceOptions& options) {
  if (!options.rows && options.tables.empty()) {
    return std::nullopt;
  }
  std::vector<std::string> files;
  for (const std::string& path : options.tables) {
    const std::vector<std::string> found = tableFilesOf(path);
    files.insert(files.end(), found.begin(), found.end());
  }
  std::optional<std::vector<std::string>> modules;
  KnownTables tables =
      readTables(files, options.rows ? configuredTables(modules) : std::vector<std::string>());
  if (tables.flows.empty()) {
    throw std::runtime_error(
        options.tables.empty()
            ? "which tables? Name files or their folder with --tables, or the system root of the "
              "host, whose configuration names them, with --root"
            : "--tables: the engine loads no table of these; trxctl check tells why");
  }
  return tables;
}

/// Shows the records of one ring.
class TraceShow {
 public:
  explicit TraceShow(const TraceOptions& options)
      : options_(options),
        output_(options.json),
        seen_(options.selection),
        tracker_([this](const Slice& slice) { end(slice); }),
        placer_(options.rows || !options.tables.empty(),
                [this](const TraceRecord& record, const SliceTracker::Place& place,
                       const std::string* called) { show(record, place, called); }) {
    if (std::optional<KnownTables> tables = tablesFor(options)) {
      rows_.emplace(std::move(*tables));
    }
  }

  int run() {
    RingWatch ring(options_.file, options_.follow);
    const RingWatch::End end = ring.run([this](const TraceRecord& record) { take(record); },
                                        [this] {
                                          placer_.flush();
                                          output_.flush();
                                        });
    if (end != RingWatch::End::kRead) {
      return end == RingWatch::End::kGivenUp ? kExitOk : failToOpenRing(options_.file);
    }
    tracker_.finish();
    sayWhatIsMissing(ring.lost());
    return options_.perfetto.empty() ? kExitOk : timeline_.write(options_.perfetto);
  }

 private:
  void take(const TraceRecord& record) {
    if (const char* const doubt = doubtOf(record)) {
      ++doubtful_;
      return takeDoubtful(record, doubt);
    }
    const SliceTracker::Place place = tracker_.take(record);
    if (options_.perfetto.empty()) {
      placer_.take(record, place);
    } else if (record.level == trx::kLevelError) {
      timeline_.addError(record);
    }
  }

  /// A doubtful record is inside of nothing, and nothing begins or ends with it.
  void takeDoubtful(const TraceRecord& record, const char* doubt) {
    placer_.flush();
    if (options_.perfetto.empty() && options_.selection.takes(record, {})) {
      output_.show(record, {}, doubt, nullptr);
    }
  }

  void end(const Slice& slice) {
    seen_.add(slice);
    if (!options_.perfetto.empty() && slice.kind != Slice::Kind::kRow) {
      timeline_.add(slice);
    }
  }

  void show(const TraceRecord& record, const SliceTracker::Place& place,
            const std::string* called) {
    seen_.add(place);
    RowNote* const note = rows_ ? rows_->take(record, place, called) : nullptr;
    if (options_.selection.takes(record, place)) {
      output_.show(record, place, nullptr, note);
      if (note != nullptr) {
        rows_->told(*note, place);
      }
    }
  }

  void sayWhatIsMissing(std::uint64_t lost) const {
    sayWhatIsLost(doubtful_, lost);
    std::vector<std::string> missing = seen_.missing(tracker_.requests());
    for (const std::string& words : rows_ ? rows_->missing() : std::vector<std::string>()) {
      missing.push_back(words);
    }
    for (const std::string& words : missing) {
      std::cerr << "trxctl: " << words << '\n';
    }
  }

  const TraceOptions& options_;
  std::uint64_t doubtful_ = 0;
  TraceOutput output_;
  SeenNames seen_;
  Timeline timeline_;
  std::optional<RowNotes> rows_;
  SliceTracker tracker_;
  RecordPlacer placer_;
};

int showTrace(TraceOptions& options) {
  if (options.file.empty()) {
    if (kw::platform::getSystemRoot().empty()) {
      return fail(
          "which ring? Name its file, or the system root that holds trace.ring with --root");
    }
    options.file = kw::platform::getSystemRoot() + kDefaultRing;
  }
  if (const auto request = requestOf(options.request)) {
    options.selection.request = request->first;
    options.selection.request_number = request->second;
  }
  if (options.summary) {
    options.requests.json = options.json;
    options.requests.filter.request = options.selection.request;
    options.requests.filter.request_number = options.selection.request_number;
    return showSummary(options.file, options.requests);
  }
  return TraceShow(options).run();
}

void addSummaryOptions(Command& command, TraceOptions& options) {
  RequestFilter& filter = options.requests.filter;
  command.flag(options.summary, {"--summary", "Print a line for each request instead of records"});
  command.text(
      options.requests.since,
      {"--since", "Show requests that ran at or after this time", "TIME", {}, false, timeProblem});
  command.text(options.requests.until, {"--until",
                                        "Show requests that began at or before this time",
                                        "TIME",
                                        {},
                                        false,
                                        timeProblem});
  command.number(filter.process, {"--process", "Show requests of this process", "ID"}, 1, kIdMost);
  command.number(filter.thread, {"--thread", "Show requests of this thread", "ID"}, 1, kIdMost);
  command.flag(filter.failed, {"--failed", "Show requests that failed or were refused"});
  command.text(filter.text, {"--text",
                             "Show requests of whose name, mode, units or outcome this "
                             "is a part",
                             "TEXT"});
  for (const char* option : {"--since", "--until", "--process", "--thread", "--failed", "--text"}) {
    command.needs(option, "--summary");
  }
  command.excludes("--summary",
                   {"--level", "--hap", "--table", "--follow", "--perfetto", "--rows", "--tables"});
}

}  // namespace

void addTraceCommand(CommandLine& line) {
  auto options = std::make_shared<TraceOptions>();
  Selection& selection = options->selection;
  Command command = line.add(
      "trace", "Decodes the trace ring of a running or dead process",
      "Each line: date, local time with its zone, process/thread, request (- for none), level,\n"
      "trace id, what happened, and where. A request is shown by its id, which is the low half\n"
      "of its process id and that of the thread that made its context, and by its number among\n"
      "those of that id in the ring.\n"
      "Example: trxctl trace --level info --table selftest /tmp/trace.ring\n"
      "Exit status: 0 the ring was read, also when records are lost; 2 it cannot be read.");
  command.text(options->file, {"FILE", "The ring file; else trace.ring in the system root"});
  command.text(selection.level, {"--level",
                                 "Show records of this level and graver ones",
                                 "",
                                 {"error", "info", "debug", "debug2"}});
  command.text(options->request, {"--request",
                                  "Show the records of the requests with this id, or of one",
                                  "ID[.NUMBER]",
                                  {},
                                  false,
                                  requestIdProblem});
  command.text(selection.hap, {"--hap", "Show what happened inside HAPs of this name", "NAME"});
  command.text(selection.table,
               {"--table", "Show what happened inside runs of this table", "NAME"});
  command.flag(options->rows, {"--rows",
                               "Show what the tables of the configuration say of the rows that "
                               "records belong to"});
  command.texts(
      options->tables,
      {"--tables", "The same by this table file or folder of them; may be repeated", "FILE|DIR"});
  command.flag(options->json, {"--json", "Print each record or request as a line of JSON"});
  command.flag(options->follow,
               {"--follow", "Wait for the ring, and go on with new records until interrupted"});
  command.text(options->perfetto,
               {"--perfetto",
                "Print nothing, but write a timeline of all that the ring holds, which "
                "ui.perfetto.dev opens",
                "FILE"});
  command.excludes("--perfetto", {"--level", "--request", "--hap", "--table", "--json", "--follow",
                                  "--rows", "--tables"});
  addSummaryOptions(command, *options);
  command.run([options] { return showTrace(*options); });
}

}  // namespace kw::trx::tools
