// SPDX-License-Identifier: Apache-2.0
#include <deque>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "command_line/command_line.h"
#include "command_line/ring_reading.h"
#include "command_line/text_output.h"
#include "commands/record_output.h"
#include "configuration/configuration.h"
#include "table/environment.h"
#include "table/row_notes.h"
#include "trace/placing.h"
#include "trace/record_words.h"
#include "trace/selection.h"

namespace kw::trx::tools {
namespace {

using kw::platform::TraceRecord;

struct RecordsOptions {
  std::vector<std::string> rings;
  FilterOptions requests;
  Selection selection;
  bool follow = false;
  bool json = false;
  bool wide = false;
  bool rows = false;
  std::vector<std::string> tables;
};

/// The tables whose rows are shown; none: rows are not.
std::optional<KnownTables> tablesFor(const RecordsOptions& options) {
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

/// The requests that are wanted, by ring, id and number.
class WantedRequests : public RequestListener {
 public:
  void requestEnded(const Request& request) override {
    wanted_.emplace(request.ring, request.id, request.number);
  }

  bool has(std::size_t ring, const Place& place) const {
    return wanted_.count({ring, place.request, place.number}) != 0;
  }

 private:
  std::set<std::tuple<std::size_t, std::uint32_t, std::uint32_t>> wanted_;
};

/// Which records are wanted, as far as they do not tell it themselves.
class RecordFilter {
 public:
  RecordFilter(const FilterOptions& options, const std::vector<std::string>& rings)
      : filter_(filterOf(withoutLast(options), rings)) {
    if (filter_.failed) {
      RequestFilter failed;
      failed.failed = true;
      FilteredRequests filtered(failed, failed_);
      RequestReader reader(filtered);
      if (openRings(rings, reader) == kExitOk) {
        reader.read();
        reader.finish();
      }
    }
  }

  const RequestFilter& requests() const { return filter_; }

  bool takes(const TraceRecord& record, std::size_t ring, const Place& place) const {
    return !(filter_.since_ns && record.time_ns < *filter_.since_ns) &&
           !(filter_.until_ns && record.time_ns > *filter_.until_ns) &&
           (filter_.process == 0 || filter_.process == record.process_id) &&
           (filter_.thread == 0 || filter_.thread == record.thread_id) &&
           (!filter_.failed || failed_.has(ring, place)) &&
           (filter_.text.empty() || describe(record).find(filter_.text) != std::string::npos);
  }

 private:
  static FilterOptions withoutLast(FilterOptions options) {
    options.last = 0;
    return options;
  }

  const RequestFilter filter_;
  WantedRequests failed_;
};

/// Shows the records of rings.
class RecordsShow : private RequestListener {
 public:
  explicit RecordsShow(RecordsOptions& options)
      : options_(options),
        filter_(options.requests, options.rings),
        output_({options.json, options.wide, options.rings.size() > 1}, options.requests.last),
        seen_(options.selection) {
    options_.selection.request = filter_.requests().request;
    options_.selection.request_number = filter_.requests().request_number;
    const bool with_rows = options.rows || !options.tables.empty();
    for (std::size_t ring = 0; ring < options.rings.size(); ++ring) {
      placers_.emplace_back(
          with_rows, [this, ring](const Event& event, const Place& place,
                                  const std::string* called) { show(event, ring, place, called); });
    }
    if (std::optional<KnownTables> tables = tablesFor(options)) {
      rows_.emplace(std::move(*tables));
    }
  }

  int run() {
    RequestReader reader(*this);
    if (const int opened = openRings(options_.rings, reader); opened != kExitOk) {
      return opened;
    }
    reader.watch([this](const PlacedRecord& record) { take(record); }, true);
    const int status = readRings(reader, options_.rings, options_.follow, [this] {
      for (RecordPlacer& placer : placers_) {
        placer.flush();
      }
      output_.flush();
    });
    sayMissing(reader);
    return status;
  }

 private:
  /// A suspect record is inside of nothing, and nothing starts or ends with it.
  void take(const PlacedRecord& placed) {
    RecordPlacer& placer = placers_[placed.ring];
    if (placed.suspicion == nullptr) {
      placer.take(placed.event, placed.place);
      return;
    }
    placer.flush();
    if (options_.selection.takes(placed.record, {}) &&
        filter_.takes(placed.record, placed.ring, {})) {
      output_.show(placed.record, placed.ring, {}, placed.suspicion, nullptr);
    }
  }

  void spanEnded(const Request& /*request*/, const Span& span) override { seen_.add(span); }

  void show(const Event& event, std::size_t ring, const Place& place, const std::string* called) {
    seen_.add(place);
    RowNote* const note = rows_ ? rows_->take(event, place, called) : nullptr;
    if (options_.selection.takes(*event.record, place) &&
        filter_.takes(*event.record, ring, place)) {
      output_.show(*event.record, ring, place, nullptr, note);
      if (note != nullptr) {
        rows_->told(*note, place);
      }
    }
  }

  void sayMissing(const RequestReader& reader) const {
    std::vector<std::string> missing = seen_.missing(reader.requests());
    for (const std::string& message : rows_ ? rows_->missing() : std::vector<std::string>()) {
      missing.push_back(message);
    }
    for (const std::string& message : missing) {
      std::cerr << "trxctl: " << message << '\n';
    }
  }

  RecordsOptions& options_;
  const RecordFilter filter_;
  RecordOutput output_;
  SeenNames seen_;
  std::optional<RowNotes> rows_;
  std::deque<RecordPlacer> placers_;  // by ring
};

int showRecords(RecordsOptions& options) {
  options.rings = ringsOf(options.rings);
  if (options.follow && !waitForRings(options.rings)) {
    return kExitOk;
  }
  return RecordsShow(options).run();
}

void describeRecords(CommandOptions& command) {
  auto options = std::make_shared<RecordsOptions>();
  Selection& selection = options->selection;
  addRings(command, options->rings);
  command.text(selection.level, {"--level",
                                 "Only records of this level and graver ones",
                                 "LEVEL",
                                 {"error", "info", "debug", "debug2"}});
  command.text(selection.hap, {"--hap", "Only what happened inside HAPs of this name", "NAME"});
  command.text(selection.table,
               {"--table", "Only what happened inside runs of this table", "NAME"});
  addFilterOptions(command, options->requests);
  command.flag(options->rows, {"--rows",
                               "Show what the tables of the configuration say of the rows that "
                               "records belong to"});
  command.texts(options->tables,
                {"--tables", "The same by this table file or folder of them", "FILE|DIR"});
  command.flag(options->wide, {"--wide",
                               "A line each, with date, zone, process, thread, trace id and the "
                               "operation that wrote it"});
  command.flag(options->follow,
               {"--follow", "Wait for the ring, and go on with new records until interrupted"});
  command.json(options->json);
  command.excludes("--follow", {"-n", "--failed"});
  command.excludes("--wide", {"--json"});
  command.run([options] { return showRecords(*options); });
}

const RegisteredCommand kRecordsCommand(
    {"records", Group::kTraces,
     "Decodes trace rings of running or dead processes, record by record",
     "Each line: local time, request (- for none), level, what happened; of an error the trace id, "
     "which trxctl explain explains. Times, processes, threads and the text are those of the "
     "records; with -n the last records are shown.",
     "--level info --table selftest /tmp/trace.ring", "the rings were read", ""},
    describeRecords);

}  // namespace
}  // namespace kw::trx::tools
