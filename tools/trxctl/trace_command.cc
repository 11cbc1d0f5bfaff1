// SPDX-License-Identifier: Apache-2.0
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>

#include "common/times.h"
#include "kw/platform.h"
#include "traces/doubts.h"
#include "traces/placing.h"
#include "traces/ring_follower.h"
#include "traces/seen_names.h"
#include "traces/selection.h"
#include "trxctl/commands.h"
#include "trxctl/text_output.h"
#include "trxctl/timeline.h"
#include "trxctl/trace_output.h"
#include "trxctl/trace_summary.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

using kw::platform::TraceRecord;

constexpr int kFollowPollMs = 100;
constexpr std::size_t kIdMost = 0xffffffff;
constexpr char kDefaultRing[] = "/trace.ring";

struct TraceOptions {
  std::string file, request, perfetto;
  Selection selection;
  bool follow = false;
  bool json = false;
  bool summary = false;
  SummaryOptions requests;
};

std::atomic<bool> interrupted{false};

/// Shows the records of one ring.
class TraceShow {
 public:
  explicit TraceShow(const TraceOptions& options)
      : options_(options),
        ring_(options.file),
        output_(options.json),
        seen_(options.selection),
        tracker_([this](const Slice& slice) { end(slice); }),
        placer_([this](const TraceRecord& record, const SliceTracker::Place& place) {
          show(record, place);
        }) {}

  int run() {
    if (ring_.open() != 0 && !waitForRing()) {
      return interrupted ? kExitOk : failToOpenRing(options_.file);
    }
    while (!interrupted) {
      takeAll();
      if (!options_.follow || !waitForMore()) {
        break;
      }
      if (ring_.isReplaced()) {
        takeAll();
        if (ring_.switchOver()) {
          std::cerr << "trxctl: " << options_.file << " was made anew\n";
        }
      }
    }
    tracker_.finish();
    sayWhatIsMissing();
    return options_.perfetto.empty() ? kExitOk : timeline_.write(options_.perfetto);
  }

 private:
  /// With --follow, waits for a ring that is not there yet. False when there will be none.
  bool waitForRing() {
    if (!options_.follow || errno != ENOENT) {
      return false;
    }
    std::cerr << "trxctl: waiting for " << options_.file << '\n';
    while (!interrupted && waitForMore()) {
      if (ring_.open() == 0) {
        return true;
      }
      if (errno != ENOENT) {
        return false;
      }
    }
    interrupted = true;
    return false;
  }

  void takeAll() {
    while (!interrupted && std::cout && ring_.next(record_)) {
      take(record_);
    }
    placer_.flush();
    output_.flush();
  }

  /// False when nobody reads the output any more.
  static bool waitForMore() {
    pollfd output{STDOUT_FILENO, 0, 0};
    return poll(&output, 1, kFollowPollMs) <= 0 && std::cout;
  }

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
      output_.show(record, {}, doubt);
    }
  }

  void end(const Slice& slice) {
    seen_.add(slice);
    if (!options_.perfetto.empty() && slice.kind != Slice::Kind::kRow) {
      timeline_.add(slice);
    }
  }

  void show(const TraceRecord& record, const SliceTracker::Place& place) {
    seen_.add(place);
    if (options_.selection.takes(record, place)) {
      output_.show(record, place, nullptr);
    }
  }

  void sayWhatIsMissing() const {
    sayWhatIsLost(doubtful_, ring_.lost());
    for (const std::string& missing : seen_.missing(tracker_.requests())) {
      std::cerr << "trxctl: " << missing << '\n';
    }
  }

  const TraceOptions& options_;
  RingFollower ring_;
  TraceRecord record_{};
  std::uint64_t doubtful_ = 0;
  TraceOutput output_;
  SeenNames seen_;
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
  static_cast<void>(std::signal(SIGINT, [](int) { interrupted = true; }));
  return TraceShow(options).run();
}

std::string requestProblem(const std::string& id) {
  return requestOf(id) ? std::string()
                       : "'" + id + "' is no request id; write one as the lines show it";
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
  command.excludes("--summary", {"--level", "--hap", "--table", "--follow", "--perfetto"});
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
                                  requestProblem});
  command.text(selection.hap, {"--hap", "Show what happened inside HAPs of this name", "NAME"});
  command.text(selection.table,
               {"--table", "Show what happened inside runs of this table", "NAME"});
  command.flag(options->json, {"--json", "Print each record or request as a line of JSON"});
  command.flag(options->follow,
               {"--follow", "Wait for the ring, and go on with new records until interrupted"});
  command.text(options->perfetto,
               {"--perfetto",
                "Print nothing, but write a timeline of all that the ring holds, which "
                "ui.perfetto.dev opens",
                "FILE"});
  command.excludes("--perfetto",
                   {"--level", "--request", "--hap", "--table", "--json", "--follow"});
  addSummaryOptions(command, *options);
  command.run([options] { return showTrace(*options); });
}

}  // namespace kw::trx::tools
