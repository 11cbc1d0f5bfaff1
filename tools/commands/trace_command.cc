// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "command_line/output_file.h"
#include "command_line/ring_reading.h"
#include "command_line/text_output.h"
#include "commands/commands.h"
#include "commands/trace_output.h"
#include "common/times.h"
#include "configuration/configuration.h"
#include "graph/timeline.h"
#include "kw/platform.h"
#include "table/environment.h"
#include "table/row_notes.h"
#include "trace/placing.h"
#include "trace/selection.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

using kw::platform::TraceRecord;

constexpr char kDefaultRing[] = "/trace.ring";

struct TraceOptions {
  std::string file;
  OutputOptions perfetto;
  Selection selection;
  bool follow = false;
  bool json = false;
  bool summary = false;
  bool rows = false;
  std::vector<std::string> tables;
  FilterOptions requests;
};

/// The tables whose rows are shown; none: rows are not.
std::optional<KnownTables> tablesFor(const TraceOptions& options) {
  if (!options.rows && options.tables.empty()) {
    return std::nullopt;
  }
  KnownTables tables = readTables(tableFilesOf(options.tables),
                                  options.rows ? configured().tables : std::vector<std::string>());
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
class TraceShow : private RequestListener {
 public:
  explicit TraceShow(const TraceOptions& options)
      : options_(options),
        output_(options.json),
        seen_(options.selection),
        placer_(options.rows || !options.tables.empty(),
                [this](const Event& event, const Place& place, const std::string* called) {
                  show(event, place, called);
                }) {
    if (std::optional<KnownTables> tables = tablesFor(options)) {
      rows_.emplace(std::move(*tables));
    }
  }

  int run() {
    const OutputFile perfetto(options_.perfetto, {".json"}, {options_.file});
    RequestReader ring(*this);
    if (options_.follow && !waitForRing(options_.file)) {
      return kExitOk;
    }
    if (const int opened = openRings({options_.file}, ring); opened != kExitOk) {
      return opened;
    }
    ring.watch([this](const PlacedRecord& record) { take(record); },
               options_.perfetto.path.empty());
    const int status = readRings(ring, {options_.file}, options_.follow, [this] {
      placer_.flush();
      output_.flush();
    });
    std::vector<std::string> missing = seen_.missing(ring.requests());
    for (const std::string& message : rows_ ? rows_->missing() : std::vector<std::string>()) {
      missing.push_back(message);
    }
    for (const std::string& message : missing) {
      std::cerr << "trxctl: " << message << '\n';
    }
    if (perfetto) {
      perfetto.write(timeline_.text());
    }
    return status;
  }

 private:
  /// A suspect record is inside of nothing, and nothing starts or ends with it.
  void take(const PlacedRecord& placed) {
    if (!options_.perfetto.path.empty()) {
      if (placed.suspicion == nullptr && placed.record.level == trx::kLevelError) {
        timeline_.addError(placed.record);
      }
    } else if (placed.suspicion == nullptr) {
      placer_.take(placed.event, placed.place);
    } else {
      placer_.flush();
      if (options_.selection.takes(placed.record, {})) {
        output_.show(placed.record, {}, placed.suspicion, nullptr);
      }
    }
  }

  void spanEnded(const Request& request, const Span& span) override {
    seen_.add(span);
    if (!options_.perfetto.path.empty()) {
      timeline_.add(request, span);
    }
  }

  void requestEnded(const Request& request) override {
    if (!options_.perfetto.path.empty()) {
      timeline_.add(request);
    }
  }

  void show(const Event& event, const Place& place, const std::string* called) {
    seen_.add(place);
    RowNote* const note = rows_ ? rows_->take(event, place, called) : nullptr;
    if (options_.selection.takes(*event.record, place)) {
      output_.show(*event.record, place, nullptr, note);
      if (note != nullptr) {
        rows_->told(*note, place);
      }
    }
  }

  const TraceOptions& options_;
  TraceOutput output_;
  SeenNames seen_;
  Timeline timeline_;
  std::optional<RowNotes> rows_;
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
  const RequestFilter filter = filterOf(options.requests, {options.file});
  options.selection.request = filter.request;
  options.selection.request_number = filter.request_number;
  return options.summary ? showSummary(options.file, filter, options.json)
                         : TraceShow(options).run();
}

void addSummaryOptions(CommandOptions& command, TraceOptions& options) {
  command.flag(options.summary, {"--summary", "Print a line for each request instead of records"});
  addFilterOptions(command, options.requests, "--summary");
  command.excludes("--summary",
                   {"--level", "--hap", "--table", "--follow", "--perfetto", "--rows", "--tables"});
}

}  // namespace

void addTraceCommand(CommandLine& line) {
  auto options = std::make_shared<TraceOptions>();
  Selection& selection = options->selection;
  CommandOptions command = line.add(
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
  command.text(options->requests.request,
               {"--request",
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
  addOutputOptions(command, options->perfetto,
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
