// SPDX-License-Identifier: Apache-2.0
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <limits>
#include <memory>
#include <sstream>

#include "command_line/command_line.h"
#include "command_line/ring_reading.h"
#include "command_line/text_output.h"
#include "common/json.h"
#include "common/text.h"
#include "common/times.h"
#include "table/code_meanings.h"
#include "trace/live_view.h"
#include "trace/selection.h"

namespace kw::trx::tools {
namespace {

constexpr int kTickMs = 1000;
constexpr int kKeyPollMs = 100;
constexpr std::size_t kMaxFailuresShown = 10;
constexpr std::size_t kMaxUpdates = 1000000000;
constexpr char kClearScreen[] = "\x1b[H\x1b[2J";

struct TopOptions {
  std::vector<std::string> rings;
  FilterOptions requests;
  std::size_t updates = 0;
  bool json = false;
};

std::uint64_t nowNs() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

std::uint64_t sinceNs(std::uint64_t start_ns, std::uint64_t now_ns) {
  return now_ns > start_ns ? now_ns - start_ns : 0;
}

/// Takes single keys from a terminal while it exists.
class Keys {
 public:
  Keys() : is_terminal_(isatty(STDIN_FILENO) == 1 && tcgetattr(STDIN_FILENO, &before_) == 0) {
    if (is_terminal_) {
      termios raw = before_;
      raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
      raw.c_cc[VMIN] = 0;
      raw.c_cc[VTIME] = 0;
      tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    }
  }
  Keys(const Keys&) = delete;
  Keys& operator=(const Keys&) = delete;
  ~Keys() {
    if (is_terminal_) {
      tcsetattr(STDIN_FILENO, TCSANOW, &before_);
    }
  }

  /// The next key; 0: none was pressed.
  char next() const {
    char key = 0;
    return is_terminal_ && read(STDIN_FILENO, &key, 1) == 1 ? key : '\0';
  }

 private:
  termios before_{};
  const bool is_terminal_;
};

/// What is shown, by the keys.
struct View {
  bool by_usual = false;  ///< what exceeds its usual time most comes first, else what runs longest
  bool paused = false;
  bool failures_only = false;
  bool over = false;

  void obey(char key) {
    by_usual = key == 's' ? !by_usual : by_usual;
    paused = key == 'p' ? !paused : paused;
    failures_only = key == 'f' ? !failures_only : failures_only;
    over = over || key == 'q';
  }
};

/// False for a process that was killed, or that runs on another machine.
bool isHere(std::uint32_t process_id) {
  return kill(static_cast<pid_t>(process_id), 0) == 0 || errno != ESRCH;
}

std::string doesText(const LiveRequest& live) {
  std::string text = live.row ? rowText(*live.row) : "";
  text += live.hap.empty() ? "" : (text.empty() ? "" : ", ") + ("HAP " + live.hap);
  text += live.waits ? ", waits" : "";
  text += live.has_lock ? ", has the lock" : live.wants_lock ? ", takes the lock" : "";
  return text + (isHere(live.request.process_id) ? "" : ", its process is not here any more");
}

/// How many times its usual time a request runs already; 0: that is not known.
double overOf(const LiveRequest& live, std::uint64_t now_ns) {
  return live.usual_ns == 0 ? 0
                            : static_cast<double>(sinceNs(live.request.start_ns, now_ns)) /
                                  static_cast<double>(live.usual_ns);
}

std::string screenOf(std::vector<LiveRequest> running, LiveView& view, const View& shown,
                     std::uint64_t now_ns) {
  const auto [ended, failed] = view.perSecond(now_ns);
  std::ostringstream out;
  out << localTimeText(static_cast<std::int64_t>(now_ns / kNanosPerSecond)) << "  "
      << running.size() << " running, " << ended << " ended and " << failed
      << " failed in the last second; " << view.ended() << " and " << view.failed()
      << " since the start of the rings" << (shown.paused ? "  (paused)" : "") << "\n";
  if (!shown.failures_only) {
    if (shown.by_usual) {
      std::stable_sort(running.begin(), running.end(), [now_ns](const auto& a, const auto& b) {
        return overOf(a, now_ns) > overOf(b, now_ns);
      });
    }
    out << "\n      runs ms     usual ms      here ms  process/thread\n";
    for (const LiveRequest& live : running) {
      const Request& request = live.request;
      out << std::setw(13) << millisText(sinceNs(request.start_ns, now_ns)) << std::setw(13)
          << (live.usual_ns == 0 ? "-" : millisText(live.usual_ns)) << std::setw(13)
          << millisText(sinceNs(live.since_ns, now_ns)) << "  " << request.process_id << '/'
          << request.parts.back().thread_id << ' ' << requestText(request.id, request.number)
          << "  " << nameText(request) << ": " << doesText(live) << '\n';
    }
  }
  const std::size_t max = shown.failures_only ? view.failures().size() : kMaxFailuresShown;
  out << (view.failures().empty() ? "" : "\nlast failures\n");
  for (std::size_t i = 0; i < std::min(max, view.failures().size()); ++i) {
    const LiveFailure& failure = view.failures()[i];
    out << localMicrosText(failure.time_ns) << "  " << failure.name << ": " << failure.outcome
        << '\n';
  }
  return out.str();
}

std::string jsonOf(const std::vector<LiveRequest>& running, LiveView& view, std::uint64_t now_ns) {
  const auto [ended, failed] = view.perSecond(now_ns);
  JsonWriter json(-1);
  startOutput("top", json);
  writeTime("time", now_ns, json);
  json.key("endedLastSecond").number(ended).key("failedLastSecond").number(failed);
  json.key("ended").number(view.ended()).key("failed").number(view.failed());
  json.key("running").beginArray();
  for (const LiveRequest& live : running) {
    const Request& request = live.request;
    json.beginObject().key("ring").number(request.ring);
    json.key("process").number(request.process_id);
    json.key("thread").number(request.parts.back().thread_id);
    json.member("request", hexText(request.id)).key("requestNumber").number(request.number);
    json.member("kind", nameOf(request.kind)).member("name", request.name);
    write(live.row, json.key("row"));
    json.member("hap", live.hap);
    json.key("runsNs").number(sinceNs(request.start_ns, now_ns));
    json.key("hereNs").number(sinceNs(live.since_ns, now_ns));
    json.key("usualNs").number(live.usual_ns).key("waits").boolean(live.waits);
    json.key("processIsHere").boolean(isHere(request.process_id));
    json.key("wantsLock").boolean(live.wants_lock).key("hasLock").boolean(live.has_lock);
    json.endObject();
  }
  json.endArray().key("failures").beginArray();
  for (std::size_t i = 0; i < std::min(kMaxFailuresShown, view.failures().size()); ++i) {
    const LiveFailure& failure = view.failures()[i];
    writeTime("time", failure.time_ns, json.beginObject());
    json.member("name", failure.name).member("message", failure.outcome).endObject();
  }
  return json.endArray().endObject().taken();
}

/// Waits for the next update, obeying keys. False: nobody reads any more, or it is over.
bool waitForTick(const Keys& keys, View& view) {
  for (int waited_ms = 0; waited_ms < kTickMs; waited_ms += kKeyPollMs) {
    if (!waitWithReader(kKeyPollMs)) {
      return false;
    }
    for (char key = keys.next(); key != 0; key = keys.next()) {
      view.obey(key);
      waited_ms = kTickMs;  // shows at once what the key does
    }
  }
  return !view.over;
}

/// Those that are wanted, of requests that run.
std::vector<LiveRequest> wantedOf(std::vector<LiveRequest> running, const RequestFilter& filter) {
  running.erase(std::remove_if(running.begin(), running.end(),
                               [&filter](const LiveRequest& live) {
                                 return !filter.takes(live.request, doesText(live));
                               }),
                running.end());
  return running;
}

int watchTop(TopOptions options) {
  options.rings = ringsOf(options.rings);
  if (!waitForRings(options.rings)) {
    return kExitOk;
  }
  LiveView live(configuredMeanings());
  const RequestFilter filter = filterOf(options.requests, options.rings);
  FilteredRequests filtered(filter, live);
  RequestReader reader(filtered);
  if (const int status = openRings(options.rings, reader); status != kExitOk) {
    return status;
  }
  const bool redraws = !options.json && isatty(STDOUT_FILENO) == 1;
  const Keys keys;
  View view;
  for (std::size_t update = 0; std::cout && (options.updates == 0 || update < options.updates);) {
    if (!view.paused) {
      reader.read();
      reader.settle();
      reader.switchOver();
    }
    const std::uint64_t now_ns = nowNs();
    const std::vector<LiveRequest> running = wantedOf(live.running(reader), filter);
    if (redraws) {
      control(kClearScreen);
    }
    std::cout << (options.json ? jsonOf(running, live, now_ns) + '\n'
                               : screenOf(running, live, view, now_ns))
              << (redraws ? "\ns: sort, p: pause, f: failures only, q: quit\n" : "") << std::flush;
    ++update;
    if (update == options.updates || !waitForTick(keys, view)) {
      break;
    }
  }
  return kExitOk;
}

void describeTop(CommandOptions& command) {
  auto options = std::make_shared<TopOptions>();
  addRings(command, options->rings);
  addFilterOptions(command, options->requests);
  command.number(options->updates, {"--max-updates", "End after so many updates", "COUNT"}, 1,
                 kMaxUpdates);
  command.json(options->json);
  command.run([options] { return watchTop(*options); });
}

const RegisteredCommand kTopCommand(
    {"top", Group::kTraces, "Shows what hosts run now, by their rings alone",
     "Each second: the requests that run, with their row and HAP, how long they run, how long such "
     "requests usually take, waits and the lock; requests and failures per second; the last "
     "failures. Hosts are not touched, and may end and start again.",
     "/var/board/trace.ring", "ended by q or an interrupt", ""},
    describeTop);

}  // namespace
}  // namespace kw::trx::tools
