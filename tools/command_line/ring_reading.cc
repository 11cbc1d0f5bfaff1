// SPDX-License-Identifier: Apache-2.0
#include "command_line/ring_reading.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <iostream>

#include "command_line/text_output.h"
#include "common/processes.h"
#include "common/times.h"
#include "kw/platform.h"
#include "kw/ring_reader.h"
#include "trace/selection.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kMaxId = 0xffffffff;
constexpr int kFollowPollMs = 100;
/// Clocks of boards differ.
constexpr std::uint64_t kMaxAheadNs = 3600 * kNanosPerSecond;

constexpr char kDefaultRing[] = "/trace.ring";

std::atomic<bool> interrupted{false};

/// Collects when requests started.
class Starts : public RequestListener {
 public:
  void requestEnded(const Request& request) override { starts_ns.push_back(request.start_ns); }

  std::vector<std::uint64_t> starts_ns;
};

/// When the first of the last `count` requests started; 0: there are no more.
std::uint64_t startOfLast(std::size_t count, const RequestFilter& filter,
                          const std::vector<std::string>& rings) {
  Starts starts;
  FilteredRequests filtered(filter, starts);
  RequestReader reader(filtered);
  for (const std::string& ring : rings) {
    static_cast<void>(reader.open(ring));  // the command says what is wrong with it
  }
  reader.read();
  reader.finish();
  if (starts.starts_ns.size() <= count) {
    return 0;
  }
  const auto first = starts.starts_ns.end() - static_cast<std::ptrdiff_t>(count);
  std::nth_element(starts.starts_ns.begin(), first, starts.starts_ns.end());
  return *first;
}

void say(const std::string& words) { std::cerr << "trxctl: " << words << '\n'; }

/// What is odd about those who write a ring.
/// `has_open`: a request has no end in it.
void sayWriters(const std::string& file, const kw::platform::RingWriters& writers, bool has_open) {
  if (writers.displaced != 0) {
    say("process " + std::to_string(writers.displaced) + " wrote " + file +
        " before; what it writes on is in no file that has a name");
  }
  if (!writers.is_at_path) {
    say(file + " is another file by now than the one that was read");
  }
  if (writers.maker != 0 && !writers.maker_is_running && has_open) {
    say("process " + std::to_string(writers.maker) + ", which made " + file +
        ", is not running here and did not close it: if it ran on this machine, it was ended in "
        "what has no end in the ring");
  }
}

void sayLosses(const RequestReader& reader) {
  for (const std::string& words : textOf(reader.losses())) {
    say(words);
  }
  const auto now_ns = static_cast<std::uint64_t>(std::time(nullptr)) * kNanosPerSecond;
  if (reader.endNs() > now_ns + kMaxAheadNs) {
    say("records are of " + localMicrosText(reader.endNs()) +
        ", which is in the future here: a clock was or is wrong");
  }
}

/// Waits for the ring `file` until it can be opened. False: interrupted.
bool waitForRing(const std::string& file) {
  kw::platform::RingReader ring;
  const std::string path = kw::platform::resolvePath(file);
  if (ring.open(path) == 0 || errno != ENOENT) {
    return true;
  }
  std::cerr << "trxctl: waiting for " << file << '\n';
  while (!interrupted && waitWithReader(kFollowPollMs)) {
    if (ring.open(path) == 0 || errno != ENOENT) {
      return true;
    }
  }
  return false;
}

}  // namespace

void addFilterOptions(CommandOptions& command, FilterOptions& options) {
  RequestFilter& filter = options.filter;
  command.text(options.request, {"--request",
                                 "Only the requests with this id, or one of them",
                                 "ID[.N]",
                                 {},
                                 false,
                                 requestIdProblem});
  const auto time = [&command](std::string& value, const char* name, const char* what) {
    command.text(value, {name, what, "TIME", {}, false, timeProblem});
  };
  time(options.since, "--since",
       "Only what ran at or after this time, such as 10:24, or 2h before the end");
  time(options.until, "--until", "Only what started at or before this time");
  command.number(filter.process, {"--process", "Only requests of this process", "ID"}, 1, kMaxId);
  command.number(filter.thread, {"--thread", "Only requests of this thread", "ID"}, 1, kMaxId);
  command.flag(filter.failed, {"--failed", "Only requests that failed or were refused"});
  command.text(
      filter.text,
      {"--text", "Only requests of whose name, mode, units or outcome this is a part", "TEXT"});
  command.number(options.last, {"-n", "Only the last so many of these requests", "COUNT"}, 1,
                 kMaxId);
}

RequestFilter filterOf(const FilterOptions& options, const std::vector<std::string>& rings) {
  RequestFilter filter = options.filter;
  const bool timed = !options.since.empty() || !options.until.empty();
  const std::uint64_t end_ns = timed ? endOfRings(rings) : 0;
  if (!options.since.empty()) {
    filter.since_ns = timeOf(options.since, end_ns);
  }
  if (!options.until.empty()) {
    filter.until_ns = timeOf(options.until, end_ns);
  }
  if (const auto request = requestOf(options.request)) {
    filter.request = request->first;
    filter.request_number = request->second;
  }
  filter.min_start_ns = options.last == 0 ? 0 : startOfLast(options.last, filter, rings);
  return filter;
}

std::vector<std::string> ringsOf(const std::vector<std::string>& files) {
  if (!files.empty()) {
    return files;
  }
  if (kw::platform::getSystemRoot().empty()) {
    throw UsageError(
        "which ring? Name its file, or the system root that holds trace.ring with --root");
  }
  return {kw::platform::getSystemRoot() + kDefaultRing};
}

void addRings(CommandOptions& command, std::vector<std::string>& rings) {
  command.texts(rings, {"RING",
                        "Ring files, which are read together; else trace.ring in the "
                        "system root"});
}

void addTables(CommandOptions& command, std::vector<std::string>& tables) {
  command.texts(
      tables,
      {"--tables", "Table files or folders of them; else those of the configuration", "FILE|DIR"});
}

int openRings(const std::vector<std::string>& files, RequestReader& reader) {
  for (const std::string& file : files) {
    if (reader.open(file) != 0) {
      return fail(file + ": " +
                  (errno == EINVAL ? "is no trace ring; name the file that the host gave to "
                                     "openTraceRing"
                                   : std::strerror(errno)));
    }
  }
  return kExitOk;
}

void sayLeftOut(std::uint64_t runs) {
  if (runs != 0) {
    std::cerr << "trxctl: " << runs
              << " runs of HAPs and rows are left out: records of their requests are missing or "
                 "damaged\n";
  }
}

int readRings(RequestReader& reader, const std::vector<std::string>& files, bool follow,
              const std::function<void()>& on_pause) {
  static_cast<void>(std::signal(SIGINT, [](int) { interrupted = true; }));
  const auto pause = [&on_pause] { return on_pause ? on_pause() : void(); };
  const auto is_over = [] { return interrupted || !std::cout; };
  while (!is_over()) {
    reader.read(is_over);
    pause();
    if (!follow || !waitWithReader(kFollowPollMs)) {
      break;
    }
    for (const std::size_t ring : reader.switchOver()) {
      pause();
      std::cerr << "trxctl: " << files[ring] << " was made anew\n";
    }
  }
  reader.finish();
  sayLosses(reader);
  int status = kExitOk;
  for (std::size_t ring = 0; ring < reader.rings(); ++ring) {
    sayWriters(files[ring], reader.writers(ring), reader.openRequests(ring) != 0);
    if (const int error = reader.error(ring); error != 0) {
      status = fail(files[ring] + ": " + std::strerror(error) +
                    ": what the ring holds behind that place is not known");
    }
  }
  return status;
}

bool waitForRings(const std::vector<std::string>& files) {
  static_cast<void>(std::signal(SIGINT, [](int) { interrupted = true; }));
  return std::all_of(files.begin(), files.end(), waitForRing);
}

}  // namespace kw::trx::tools
