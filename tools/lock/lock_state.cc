// SPDX-License-Identifier: Apache-2.0
#include "lock/lock_state.h"

#include <sys/ipc.h>
#include <sys/sem.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>

namespace kw::trx::tools {
namespace {

constexpr int kUsersPermissions = 0660;  ///< those that a user of the semaphore asks for
constexpr int kLooksMost = 10;

constexpr int kFinishedNumber = 1;

/// The last argument of semctl(2), which the caller has to define.
union SemctlArgument {
  int val;
  semid_ds* buf;
  unsigned short* array;
};

struct ConditionText {
  LockCondition condition;
  const char *name, *meaning, *advice;
};

constexpr ConditionText kTexts[] = {
    {LockCondition::kFree, "free", "free: the next HAP gets it at once", ""},
    {LockCondition::kHeld, "held", "held; others would wait", ""},
    {LockCondition::kMissing, "missing",
     "it does not exist: outermost HAPs are refused with 0x7000c",
     "trxctl lock --create, as TRX::startUp does; hosts that have loaded already load again"},
    {LockCondition::kNotPermitted, "notPermitted",
     "this user may not use it: outermost HAPs are refused with 0x7000c",
     "run as its owner or in its group, or let its owner remove it and create it anew"},
    {LockCondition::kUnfinished, "neverFinished",
     "it was never finished: whoever made it died before it was free for anybody, and all wait",
     "trxctl lock --repair; hosts that wait go on at once"},
    {LockCondition::kUnclear, "neverFinishedOrHeld",
     "it was never finished and a process that waited for it has ended, or a process of another "
     "PID "
     "namespace holds it; all others wait",
     "look for a host in another container that is in a HAP; when there is none, "
     "trxctl lock --repair --force"},
    {LockCondition::kAbandoned, "abandoned",
     "it is at 0, and the process that used it last has ended: all wait for ever",
     "trxctl lock --repair"},
    {LockCondition::kAboveOne, "aboveOne",
     "its value is above 1: so many HAPs run at once, and nothing excludes them",
     "end the hosts, or their requests; then trxctl lock --repair --force"},
};

const ConditionText& textOf(LockCondition condition) {
  return *std::find_if(std::begin(kTexts), std::end(kTexts),
                       [condition](const auto& text) { return text.condition == condition; });
}

[[noreturn]] void failAt(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

/// Owner and mode from the list of all semaphores, which everybody may read.
void readListed(LockState& state) {
  std::ifstream in("/proc/sysvipc/sem");
  std::string line;
  std::getline(in, line);
  while (std::getline(in, line)) {
    std::istringstream message(line);
    std::int64_t key = 0, id = 0, semaphores = 0, uid = 0, gid = 0, creator = 0, creator_gid = 0;
    std::string mode;
    message >> key >> id >> mode >> semaphores >> uid >> gid >> creator >> creator_gid >>
        state.used >> state.changed;
    if (message && id == state.id) {
      state.uid = static_cast<std::uint32_t>(uid);
      state.gid = static_cast<std::uint32_t>(gid);
      state.mode = static_cast<std::uint32_t>(std::stoul(mode, nullptr, 8)) & 0777;
      return;
    }
  }
}

/// Reads all but the process. False when this user may not read the semaphore.
bool readState(LockState& state) {
  semid_ds about{};
  SemctlArgument argument{};
  argument.buf = &about;
  if (semctl(state.id, kLockSemNumber, IPC_STAT, argument) < 0) {
    return errno == EACCES ? false : (failAt("cannot look at the semaphore"), false);
  }
  state.uid = about.sem_perm.uid;
  state.gid = about.sem_perm.gid;
  state.mode = about.sem_perm.mode & 0777;
  state.used = static_cast<std::int64_t>(about.sem_otime);
  state.changed = static_cast<std::int64_t>(about.sem_ctime);
  state.value = semctl(state.id, kLockSemNumber, GETVAL);
  state.waiting = semctl(state.id, kLockSemNumber, GETNCNT);
  state.process = semctl(state.id, kLockSemNumber, GETPID);
  state.is_own_kind = about.sem_nsems == kLockSemaphores;
  state.finished = state.is_own_kind && semctl(state.id, kFinishedNumber, GETVAL) == 1;
  if (state.value < 0 || state.waiting < 0 || state.process < 0) {
    failAt("cannot look at the semaphore");
  }
  return true;
}

/// Reads until nothing has changed while the process was looked at: one that gives back and ends
/// meanwhile has left nothing behind.
bool readWhole(LockState& state) {
  for (int look = 0; look < kLooksMost; ++look) {
    if (!readState(state)) {
      return false;
    }
    state.facts = state.process == 0 ? ProcessFacts{} : factsOf(state.process);
    LockState again = state;
    if (readState(again) && again.value == state.value && again.process == state.process) {
      break;
    }
    state.facts.gone = false;  // it is in use: nobody has left it
  }
  return true;
}

LockCondition conditionOf(const LockState& state) {
  if (state.value > 1) {
    return LockCondition::kAboveOne;
  }
  if (state.value == 1) {
    return LockCondition::kFree;
  }
  if (state.used == 0) {
    return LockCondition::kUnfinished;
  }
  // The end of a process that waited counts as a use, but changes no value: nobody is on record.
  if (state.process == 0 && !state.finished) {
    return LockCondition::kUnclear;
  }
  return state.facts.gone ? LockCondition::kAbandoned : LockCondition::kHeld;
}

LockState lookOnce(int key) {
  LockState state;
  state.id = semget(key, 0, 0);
  if (state.id < 0) {
    if (errno != ENOENT) {
      failAt("cannot look for the semaphore");
    }
    state.shortage = semaphoreShortage();
    return state;
  }
  state.readable = readWhole(state);
  if (!state.readable) {
    readListed(state);
  }
  const bool permitted = semget(key, 0, kUsersPermissions) >= 0;
  state.condition = state.readable && permitted ? conditionOf(state) : LockCondition::kNotPermitted;
  return state;
}

}  // namespace

LockState lookAtLock(int key) {
  for (int look = 1;; ++look) {
    try {
      return lookOnce(key);
    } catch (const std::system_error& error) {
      const int code = error.code().value();
      const bool removed_meanwhile = code == EIDRM || code == EINVAL;
      if (!removed_meanwhile || look == kLooksMost) {
        throw;
      }
    }
  }
}

bool isWrong(LockCondition condition) {
  return condition != LockCondition::kFree && condition != LockCondition::kHeld;
}

const char* nameOf(LockCondition condition) { return textOf(condition).name; }

std::string meaningOf(const LockState& state) {
  const std::string& shortage = state.shortage.message;
  if (state.condition == LockCondition::kHeld && state.waiting > 0) {
    return "held: HAPs of other processes wait for it";
  }
  return textOf(state.condition).meaning +
         (shortage.empty() ? "" : "; the kernel has no semaphores left to make it: " + shortage);
}

std::string adviceOf(const LockState& state) {
  const std::string& first = state.shortage.advice;
  return (first.empty() ? "" : first + "; then ") + textOf(state.condition).advice;
}

}  // namespace kw::trx::tools
