// SPDX-License-Identifier: Apache-2.0
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iostream>
#include <memory>
#include <string>

#include "common/text.h"
#include "kw/platform.h"
#include "traces/catalogue.h"
#include "traces/placing.h"
#include "traces/record_words.h"
#include "traces/ring_follower.h"
#include "traces/selection.h"
#include "trxctl/commands.h"
#include "trxctl/json.h"
#include "trxctl/text_output.h"
#include "trxctl/timeline.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

using kw::platform::TraceRecord;

constexpr std::uint64_t kNanosPerSecond = 1000000000;
constexpr std::uint64_t kNanosPerMicro = 1000;
constexpr int kFollowPollMs = 100;
constexpr char kDefaultRing[] = "/trace.ring";

struct TraceOptions {
  std::string file, request, perfetto;
  Selection selection;
  bool follow = false;
  bool json = false;
};

std::atomic<bool> interrupted{false};

std::string timeText(std::uint64_t time_ns) {
  const auto seconds = static_cast<std::time_t>(time_ns / kNanosPerSecond);
  std::tm parts{};
  localtime_r(&seconds, &parts);
  char clock[32];
  std::strftime(clock, sizeof(clock), "%F %T", &parts);
  char micros[16];
  std::snprintf(micros, sizeof(micros), ".%06u",
                static_cast<unsigned int>(time_ns % kNanosPerSecond / kNanosPerMicro));
  return std::string(clock) + micros;
}

void print(const TraceRecord& record, const SliceTracker::Place& place) {
  const std::string level = levelName(record.level);
  const std::string request = place.request == 0 ? "-" : hexText(place.request);
  char head[96];
  std::snprintf(head, sizeof(head), "%s %u/%u %-10s ", timeText(record.time_ns).c_str(),
                record.process_id, record.thread_id, request.c_str());
  char kind[32];
  std::snprintf(kind, sizeof(kind), "%-6s %08x ", level.c_str(), record.id);
  const std::string origin = originOf(record.id);
  std::cout << head << (record.level == trx::kLevelError ? paint(Colour::kRed, kind) : kind)
            << describe(record)
            << (origin.empty() ? "" : paint(Colour::kGrey, "  (" + origin + ")")) << '\n';
}

void printJson(const TraceRecord& record, const SliceTracker::Place& place) {
  JsonWriter json(-1);
  json.beginObject().key("timeNs").number(record.time_ns);
  json.key("process").number(record.process_id).key("thread").number(record.thread_id);
  json.member("request", hexText(place.request)).member("level", levelName(record.level));
  json.member("id", hexText(record.id)).member("origin", originOf(record.id));
  json.member("words", describe(record));
  const std::vector<Value> values = valuesOf(record);
  if (!values.empty()) {
    json.key("values").beginObject();
    for (const Value& value : values) {
      json.member(value.name, value.text);
    }
    json.endObject();
  }
  std::cout << json.endObject().taken() << '\n';
}

/// Shows the records of one ring.
class TraceShow {
 public:
  explicit TraceShow(const TraceOptions& options)
      : options_(options),
        tracker_([this](const Slice& slice) { timeline_.add(slice); }),
        placer_([this](const TraceRecord& record, const SliceTracker::Place& place) {
          show(record, place);
        }) {}

  int run() {
    RingFollower ring(options_.file);
    if (ring.open() != 0) {
      return fail(options_.file + ": " +
                  (errno == EINVAL ? "is no trace ring; name the file that the host gave to "
                                     "openTraceRing"
                                   : std::strerror(errno)));
    }
    while (!interrupted) {
      takeAll(ring);
      if (!options_.follow || !waitForMore()) {
        break;
      }
      if (ring.isReplaced()) {
        takeAll(ring);
        if (ring.switchOver()) {
          std::cerr << "trxctl: " << options_.file << " was made anew\n";
        }
      }
    }
    if (ring.lost() != 0) {
      std::cerr << "trxctl: " << ring.lost() << " records were overwritten, torn or cut off\n";
    }
    tracker_.finish();
    return options_.perfetto.empty() ? kExitOk : timeline_.write(options_.perfetto);
  }

 private:
  void takeAll(RingFollower& ring) {
    for (TraceRecord record; !interrupted && std::cout && ring.next(record);) {
      take(record);
    }
    placer_.flush();
    std::cout.flush();
  }

  /// False when nobody reads the output any more.
  static bool waitForMore() {
    pollfd output{STDOUT_FILENO, 0, 0};
    return poll(&output, 1, kFollowPollMs) <= 0 && std::cout;
  }

  void take(const TraceRecord& record) {
    const SliceTracker::Place place = tracker_.take(record);
    if (options_.perfetto.empty()) {
      placer_.take(record, place);
    } else if (record.level == trx::kLevelError) {
      timeline_.addError(record);
    }
  }

  void show(const TraceRecord& record, const SliceTracker::Place& place) const {
    if (!options_.selection.takes(record, place)) {
      return;
    }
    if (options_.json) {
      printJson(record, place);
    } else {
      print(record, place);
    }
  }

  const TraceOptions& options_;
  Timeline timeline_;
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
  options.selection.request = hexNumber(options.request);
  static_cast<void>(std::signal(SIGINT, [](int) { interrupted = true; }));
  return TraceShow(options).run();
}

std::string requestProblem(const std::string& id) {
  return hexNumber(id) ? std::string()
                       : "'" + id + "' is no request id; write one as the lines show it";
}

}  // namespace

void addTraceCommand(CommandLine& line) {
  auto options = std::make_shared<TraceOptions>();
  Selection& selection = options->selection;
  Command command = line.add(
      "trace", "Decodes the trace ring of a running or dead process",
      "Each line: date, time, process/thread, request (- for none), level, trace id, what\n"
      "happened, and where. The id of a request is the low half of its process id and that of\n"
      "the thread that made its context.\n"
      "Example: trxctl trace --level info --table selftest /tmp/trace.ring\n"
      "Exit status: 0 the ring was read, also when records are lost; 2 it cannot be read.");
  command.text(options->file, {"FILE", "The ring file; else trace.ring in the system root"});
  command.text(selection.level, {"--level",
                                 "Show records of this level and graver ones",
                                 "",
                                 {"error", "info", "debug", "debug2"}});
  command.text(options->request, {"--request",
                                  "Show the records of the request with this id",
                                  "ID",
                                  {},
                                  false,
                                  requestProblem});
  command.text(selection.hap, {"--hap", "Show what happened inside HAPs of this name", "NAME"});
  command.text(selection.table,
               {"--table", "Show what happened inside runs of this table", "NAME"});
  command.flag(options->json, {"--json", "Print each record as a line of JSON"});
  command.flag(options->follow, {"--follow", "Go on with new records until interrupted"});
  command.text(options->perfetto,
               {"--perfetto",
                "Print nothing, but write a timeline of all that the ring holds, which "
                "ui.perfetto.dev opens",
                "FILE"});
  command.excludes("--perfetto",
                   {"--level", "--request", "--hap", "--table", "--json", "--follow"});
  command.run([options] { return showTrace(*options); });
}

}  // namespace kw::trx::tools
