// SPDX-License-Identifier: Apache-2.0
#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <ctime>
#include <iostream>
#include <memory>
#include <tuple>
#include <vector>

#include "command_line/command_line.h"
#include "command_line/text_output.h"
#include "common/json.h"
#include "common/text.h"
#include "common/times.h"
#include "kw/trx/trx_lock.h"
#include "lock/lock_repair.h"
#include "lock/lock_state.h"
#include "lock/other_namespaces.h"
#include "lock/waiting_processes.h"

namespace kw::trx::tools {
namespace {

constexpr int kKey = trx::kExclusionSemaphoreKey;
constexpr int kWatchPollMs = 200;
constexpr std::size_t kMaxWaiters = 10;  // more are counted

struct LockOptions {
  bool create = false, remove = false, repair = false;
  bool force = false, watch = false, json = false;
};

std::atomic<bool> watch_ends{false};

std::string named(std::uint32_t id, const char* name) {
  return std::to_string(id) + (name == nullptr ? "" : " (" + std::string(name) + ")");
}

std::string ownerText(const LockState& state) {
  const passwd* const user = getpwuid(state.uid);
  const group* const users = getgrgid(state.gid);
  return "user " + named(state.uid, user == nullptr ? nullptr : user->pw_name) + ", group " +
         named(state.gid, users == nullptr ? nullptr : users->gr_name);
}

std::string modeText(const LockState& state) {
  std::string octal = "0";
  for (int shift = 6; shift >= 0; shift -= 3) {
    octal += static_cast<char>('0' + (state.mode >> shift & 7));
  }
  return octal;
}

std::string processText(pid_t process, const ProcessFacts& facts) {
  if (process == 0) {
    return "a process of another PID namespace";
  }
  std::string text = "process " + std::to_string(process);
  if (facts.gone) {
    return text + ", which has ended";
  }
  text += facts.command.empty() ? "" : " (" + facts.command + ")";
  return text + (facts.started ? ", started " + localTimeText(*facts.started) : "");
}

/// Those that wait, as far as they are seen.
std::vector<pid_t> waitersOf(const LockState& state) {
  return state.waiting > 0 ? processesWaitingFor(state.id) : std::vector<pid_t>();
}

void printWaiters(const LockState& state) {
  std::cout << "  waiting: " << state.waiting << '\n';
  const std::vector<pid_t> waiters = waitersOf(state);
  const std::size_t shown = std::min(waiters.size(), kMaxWaiters);
  for (std::size_t i = 0; i < shown; ++i) {
    std::cout << "           " << processText(waiters[i], factsOf(waiters[i])) << '\n';
  }
  if (shown < waiters.size()) {
    std::cout << "           and " << waiters.size() - shown << " more\n";
  }
}

std::string meaningText(const LockState& state) {
  const bool wrong = isWrong(state.condition);
  return paint(wrong ? Colour::kRed : Colour::kGreen, meaningOf(state));
}

void print(const LockState& state) {
  std::cout << "exclusion semaphore " << hexText(kKey) << ": " << meaningText(state) << '\n';
  if (state.id >= 0) {
    std::cout << "  id:      " << state.id << "\n  owner:   " << ownerText(state) << ", mode "
              << modeText(state) << '\n';
  }
  if (state.readable) {
    const bool held = state.condition == LockCondition::kHeld;
    std::cout << "  value:   " << state.value << '\n';
    if (state.used != 0) {
      std::cout << (held ? "  holder:  " : "  used:    ") << (held ? "since " : "last ")
                << localTimeText(state.used) << " by " << processText(state.process, state.facts)
                << '\n';
    } else {
      std::cout << "  made:    " << localTimeText(state.changed) << ", never used\n";
    }
    printWaiters(state);
    if (held) {
      std::cout
          << "  note:    where that process is in no HAP, it ran exec inside one or could not "
             "give it back: it holds the semaphore until it ends\n";
    }
  }
  if (isWrong(state.condition)) {
    std::cout << "  do:      " << adviceOf(state) << '\n';
  }
  const OtherNamespaces others = otherNamespaces();
  if (const std::string message = wordsOf(others); !message.empty()) {
    const std::string advice = adviceOf(others);
    std::cout << "  others:  " << message << (advice.empty() ? "" : "; " + advice) << '\n';
  }
}

void printLine(const LockState& state) {
  std::cout << localTimeText(std::time(nullptr)) << ' ' << nameOf(state.condition);
  if (state.readable) {
    std::cout << ", value " << state.value << ", waiting " << state.waiting;
  }
  if (state.condition == LockCondition::kHeld || state.condition == LockCondition::kAbandoned) {
    std::cout << ", by " << processText(state.process, state.facts);
  }
  std::cout << std::endl;
}

void writeProcess(pid_t process, const ProcessFacts& facts, JsonWriter& json) {
  json.beginObject().key("id").number(static_cast<std::uint64_t>(process));
  json.key("ended").boolean(facts.gone).member("command", facts.command);
  if (facts.started) {
    json.key("started").number(static_cast<std::uint64_t>(*facts.started));
  }
  json.endObject();
}

void writeJson(const LockState& state, bool in_one_line) {
  JsonWriter json(in_one_line ? -1 : 2);
  startOutput("lock", json);
  json.member("key", hexText(kKey)).member("condition", nameOf(state.condition));
  json.key("wrong").boolean(isWrong(state.condition)).member("message", meaningOf(state));
  json.member("advice", adviceOf(state));
  if (state.id >= 0) {
    json.key("id").number(static_cast<std::uint64_t>(state.id));
    json.key("uid").number(state.uid).key("gid").number(state.gid);
    json.member("mode", modeText(state));
    json.key("used").number(static_cast<std::uint64_t>(state.used));
    json.key("changed").number(static_cast<std::uint64_t>(state.changed));
  }
  if (state.readable) {
    json.key("value").number(static_cast<std::uint64_t>(state.value));
    json.key("waiting").number(static_cast<std::uint64_t>(state.waiting));
    writeProcess(state.process, state.facts, json.key("process"));
    json.key("waiters").beginArray();
    for (const pid_t waiter : waitersOf(state)) {
      writeProcess(waiter, factsOf(waiter), json);
    }
    json.endArray();
  }
  if (!in_one_line) {
    json.member("others", wordsOf(otherNamespaces()));
  }
  std::cout << json.endObject().taken() << std::endl;
}

int statusOf(const LockState& state) { return isWrong(state.condition) ? kExitFindings : kExitOk; }

int showLock(bool json) {
  const LockState state = lookAtLock(kKey);
  json ? writeJson(state, false) : print(state);
  return statusOf(state);
}

/// A line at each change, until interrupted.
int watchLock(bool json) {
  static_cast<void>(std::signal(SIGINT, [](int) { watch_ends = true; }));
  const auto shown = [](const LockState& state) {
    return std::make_tuple(state.condition, state.id, state.value, state.waiting, state.process);
  };
  LockState last = lookAtLock(kKey);
  json ? writeJson(last, true) : printLine(last);
  while (!watch_ends && waitWithReader(kWatchPollMs)) {
    const LockState now = lookAtLock(kKey);
    if (shown(now) != shown(last)) {
      json ? writeJson(now, true) : printLine(now);
    }
    last = now;
  }
  return statusOf(last);
}

int actOnLock(const LockOptions& options) {
  const LockAction action = options.create   ? createLock(kKey)
                            : options.remove ? removeLock(kKey, options.force)
                                             : repairLock(kKey, options.force);
  const std::string message = "exclusion semaphore " + hexText(kKey) + ": " + action.message;
  if (!action.done) {
    return fail(message);
  }
  std::cout << message << '\n';
  return kExitOk;
}

int runLock(const LockOptions& options) {
  const bool acts = options.create || options.remove || options.repair;
  if (options.force && !options.remove && !options.repair) {
    throw UsageError("--force belongs to --remove or --repair");
  }
  if (acts) {
    return actOnLock(options);
  }
  return options.watch ? watchLock(options.json) : showLock(options.json);
}

void describeLock(CommandOptions& command) {
  auto options = std::make_shared<LockOptions>();
  command.flag(options->watch, {"--follow", "Print a line at each change, until interrupted"});
  command.json(options->json);
  command.flag(options->create,
               {"--create", "Create it, or finish it, as a host does at its start"});
  command.flag(options->remove, {"--remove", "Remove it when nobody holds it"});
  command.flag(options->repair, {"--repair", "Make it free for one holder when nobody holds it"});
  command.flag(options->force, {"--force", "Remove or repair it also when somebody may hold it"});
  command.excludes("--create", {"--remove", "--repair", "--follow", "--json"});
  command.excludes("--remove", {"--repair", "--follow", "--json"});
  command.excludes("--repair", {"--follow", "--json"});
  command.run([options] { return runLock(*options); });
}

const RegisteredCommand kLockCommand(
    {"lock", Group::kMachine,
     "Shows the exclusion semaphore: who holds it, who waits, what is wrong",
     "The semaphore is that of this machine, or of the IPC namespace that the tool runs in. The "
     "process shown is the one that changed its value last.",
     "--follow", "it is free or held, or what was asked for is done",
     "something is wrong with it, also when it does not exist"},
    describeLock);

}  // namespace
}  // namespace kw::trx::tools
