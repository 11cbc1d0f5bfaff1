// SPDX-License-Identifier: Apache-2.0
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <deque>
#include <fstream>
#include <iostream>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "kw/platform.h"
#include "support/trace.h"
#include "trxctl/commands.h"
#include "trxctl/trace_catalogue.h"
#include "trxctl/trace_slices.h"

namespace kw::trx::trxctl {
namespace {

using Json = nlohmann::ordered_json;
using kw::platform::TraceRecord;

constexpr std::uint64_t kNanosPerSecond = 1000000000;
constexpr std::uint64_t kNanosPerMicro = 1000;
constexpr int kFollowPollMs = 100;
/// So many records wait for the one that tells whose the oldest of them is.
constexpr std::size_t kPendingMost = 1000;
constexpr char kDefaultRing[] = "/trace.ring";
constexpr const char* kLevels[] = {"error", "info", "debug", "debug2"};

struct TraceOptions {
  std::string file;
  std::string level = "debug2";
  std::optional<std::uint32_t> request;
  std::string hap, table;
  std::string perfetto;
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
  Json line = {{"timeNs", record.time_ns},         {"process", record.process_id},
               {"thread", record.thread_id},       {"request", hexText(place.request)},
               {"level", levelName(record.level)}, {"id", hexText(record.id)},
               {"origin", originOf(record.id)},    {"words", describe(record)}};
  for (const Value& value : valuesOf(record)) {
    line["values"][value.name] = value.text;
  }
  std::cout << line.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
}

/// Collects what goes into a timeline; `ts` is in nanoseconds until it is written.
class Timeline {
 public:
  void add(const Slice& slice) {
    constexpr const char* kinds[] = {"request", "table", "hap"};
    events_.push_back({{"name", slice.name},
                       {"cat", kinds[static_cast<int>(slice.kind)]},
                       {"ph", "X"},
                       {"ts", slice.begin_ns},
                       {"dur", micros(slice.end_ns - slice.begin_ns)},
                       {"pid", slice.process_id},
                       {"tid", slice.thread_id},
                       {"args", {{"request", hexText(slice.request)}}}});
  }

  void addError(const TraceRecord& record) {
    events_.push_back({{"name", describe(record)},
                       {"cat", "error"},
                       {"ph", "i"},
                       {"s", "t"},
                       {"ts", record.time_ns},
                       {"pid", record.process_id},
                       {"tid", record.thread_id},
                       {"args", {{"id", hexText(record.id)}}}});
  }

  /// Times count from the first event, so that no digit is lost.
  int write(const std::string& path) {
    std::uint64_t start_ns = std::numeric_limits<std::uint64_t>::max();
    for (const Json& event : events_) {
      start_ns = std::min(start_ns, event["ts"].get<std::uint64_t>());
    }
    for (Json& event : events_) {
      event["ts"] = micros(event["ts"].get<std::uint64_t>() - start_ns);
    }
    std::ofstream file(path);
    file << Json{{"traceEvents", events_}, {"displayTimeUnit", "ms"}}.dump(
                1, ' ', false, Json::error_handler_t::replace)
         << '\n';
    file.close();
    return file.fail() ? fail(path + ": " + std::strerror(errno)) : kExitOk;
  }

 private:
  static double micros(std::uint64_t time_ns) {
    return static_cast<double>(time_ns) / static_cast<double>(kNanosPerMicro);
  }

  Json events_ = Json::array();
};

/// Device and inode: another pair is another file. Zeros while there is none.
using FileIdentity = std::pair<dev_t, ino_t>;

FileIdentity identityOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? FileIdentity{status.st_dev, status.st_ino}
                                          : FileIdentity{};
}

/// Shows the records of one ring.
class TraceReader {
 public:
  explicit TraceReader(const TraceOptions& options)
      : options_(options),
        tracker_([this](const Slice& slice) { timeline_.add(slice); }),
        depth_(std::find(std::begin(kLevels), std::end(kLevels), options.level) - kLevels) {}

  int run() {
    kw::platform::TraceRingReader reader;
    if (reader.open(options_.file) != 0) {
      return fail(options_.file + ": " +
                  (errno == EINVAL ? "is no trace ring; name the file that the host gave to "
                                     "openTraceRing"
                                   : std::strerror(errno)));
    }
    FileIdentity file = identityOf(options_.file);
    std::uint64_t lost = 0;
    while (!interrupted) {
      takeAll(reader);
      if (!options_.follow || !waitForMore()) {
        break;
      }
      const FileIdentity now = identityOf(options_.file);
      if (now != file) {  // made anew by a host that was started again
        takeAll(reader);
        const std::uint64_t lost_of_former = reader.lost();
        if (reader.open(options_.file) == 0) {
          file = now;
          lost += lost_of_former;
          std::cerr << "trxctl: " << options_.file << " was made anew\n";
        }
      }
    }
    lost += reader.lost();
    if (lost != 0) {
      std::cerr << "trxctl: " << lost << " records were overwritten, torn or cut off\n";
    }
    tracker_.finish();
    return options_.perfetto.empty() ? kExitOk : timeline_.write(options_.perfetto);
  }

 private:
  using Thread = std::pair<std::uint32_t, std::uint32_t>;

  /// A record that waits to be shown.
  struct Pending {
    TraceRecord record;
    SliceTracker::Place place;
    bool placed;  ///< false: the place is a guess
  };

  void takeAll(kw::platform::TraceRingReader& reader) {
    for (TraceRecord record; !interrupted && std::cout && reader.next(record);) {
      take(record);
    }
    showPending(0);
    std::cout.flush();
  }

  /// False when nobody reads the output any more.
  static bool waitForMore() {
    pollfd output{STDOUT_FILENO, 0, 0};
    return poll(&output, 1, kFollowPollMs) <= 0 && std::cout;
  }

  void take(const TraceRecord& record) {
    const SliceTracker::Place place = tracker_.take(record);
    if (!options_.perfetto.empty()) {
      return record.level == trx::kLevelError ? timeline_.addError(record) : void();
    }
    // The first records of a HAP request do not say whose it is: the next one of the thread does.
    const bool placed = record.id != trx::kTrxHAPName.id && record.id != trx::kTrxHAPMode.id &&
                        record.id != trx::kTrxHAPUnit.id;
    for (Pending& pending : pending_) {
      if (placed && !pending.placed && pending.record.process_id == record.process_id &&
          pending.record.thread_id == record.thread_id) {
        pending.place = place;
        pending.placed = true;
      }
    }
    pending_.push_back({record, place, placed});
    showPending(kPendingMost);
  }

  /// Shows in their order the records whose place is known; of the others the newest `most` wait.
  void showPending(std::size_t most) {
    while (!pending_.empty() && (pending_.front().placed || pending_.size() > most)) {
      show(pending_.front().record, pending_.front().place);
      pending_.pop_front();
    }
  }

  void show(const TraceRecord& record, const SliceTracker::Place& place) const {
    const auto level =
        std::find(std::begin(kLevels), std::end(kLevels), levelName(record.level)) - kLevels;
    const bool known = level < std::end(kLevels) - std::begin(kLevels);
    if ((known && level > depth_) || !passes(place)) {
      return;
    }
    if (options_.json) {
      printJson(record, place);
    } else {
      print(record, place);
    }
  }

  bool passes(const SliceTracker::Place& place) const {
    const auto inside = [&place](Slice::Kind kind, const std::string& name) {
      return name.empty() ||
             std::any_of(place.slices.begin(), place.slices.end(), [&](const Slice& slice) {
               return slice.kind == kind && slice.name == name;
             });
    };
    return options_.request.value_or(place.request) == place.request &&
           inside(Slice::Kind::kHAP, options_.hap) && inside(Slice::Kind::kTable, options_.table);
  }

  const TraceOptions& options_;
  Timeline timeline_;
  SliceTracker tracker_;
  const std::ptrdiff_t depth_;
  std::deque<Pending> pending_;
};

int showTrace(TraceOptions& options) {
  if (options.file.empty()) {
    if (kw::platform::getSystemRoot().empty()) {
      return fail(
          "which ring? Name its file, or the system root that holds trace.ring with --root");
    }
    options.file = kw::platform::getSystemRoot() + kDefaultRing;
  }
  static_cast<void>(std::signal(SIGINT, [](int) { interrupted = true; }));
  return TraceReader(options).run();
}

}  // namespace

void addTraceCommand(CLI::App& app, int& status) {
  auto options = std::make_shared<TraceOptions>();
  CLI::App* command = addCommand(
      app, "trace", "Decodes the trace ring of a running or dead process",
      "Each line: date, time, process/thread, request (- for none), level, trace id, what\n"
      "happened, and where. The id of a request is the low half of its process id and that of\n"
      "the thread that made its context.\n"
      "Example: trxctl trace --level info --table selftest /tmp/trace.ring\n"
      "Exit status: 0 the ring was read, also when records are lost; 2 it cannot be read.");
  command->add_option("FILE", options->file, "The ring file; else trace.ring in the system root");
  CLI::Option* level =
      command->add_option("--level", options->level, "Show records of this level and graver ones")
          ->check(CLI::IsMember({"error", "info", "debug", "debug2"}))
          ->capture_default_str();
  CLI::Option* request =
      command
          ->add_option_function<std::string>(
              "--request",
              [options](const std::string& id) {
                options->request = hexNumber(id);
                if (!options->request) {
                  throw CLI::ValidationError("--request", "'" + id +
                                                              "' is no request id; write one as "
                                                              "the lines show it");
                }
              },
              "Show the records of the request with this id")
          ->type_name("ID");
  CLI::Option* hap =
      command->add_option("--hap", options->hap, "Show what happened inside HAPs of this name")
          ->type_name("NAME");
  CLI::Option* table =
      command->add_option("--table", options->table, "Show what happened inside runs of this table")
          ->type_name("NAME");
  CLI::Option* json =
      command->add_flag("--json", options->json, "Print each record as a line of JSON");
  CLI::Option* follow =
      command->add_flag("--follow", options->follow, "Go on with new records until interrupted");
  CLI::Option* perfetto =
      command
          ->add_option("--perfetto", options->perfetto,
                       "Print nothing, but write a timeline of all that the ring holds, which "
                       "ui.perfetto.dev opens")
          ->type_name("FILE");
  for (CLI::Option* other : {level, request, hap, table, json, follow}) {
    perfetto->excludes(other);
  }
  command->callback([options, &status] { status = showTrace(*options); });
}

}  // namespace kw::trx::trxctl
