// SPDX-License-Identifier: Apache-2.0
#include "lock/lock_repair.h"

#include <sys/ipc.h>
#include <sys/sem.h>

#include <cerrno>
#include <cstring>

#include "kw/dev/parts/lib_semaphore.h"
#include "lock/lock_state.h"

namespace kw::trx::tools {
namespace {

LockAction couldNot(const std::string& what) {
  const std::string reason = std::strerror(errno);
  return {false, "cannot " + what + ": " + reason};
}

std::string holderOf(const LockState& state) {
  return state.process == 0 ? "a process of another PID namespace"
                            : "process " + std::to_string(state.process);
}

/// Why nothing may be done to the semaphore without force; empty when nobody can hold it.
std::string refusalOf(const LockState& state) {
  switch (state.condition) {
    case LockCondition::kHeld:
      return holderOf(state) + " holds it";
    case LockCondition::kUnclear:
      return "it was never finished, or a process of another PID namespace holds it";
    case LockCondition::kAboveOne:
      return "its value is above 1, so that nobody can tell whether it is held";
    case LockCondition::kNotPermitted:
      return "this user may not see whether it is held";
    default:
      return {};
  }
}

/// Sets the value from `value` to 1 in one operation; refused when it has another one by now.
bool setFree(int id, int value) {
  const auto taken = static_cast<short>(-value);
  sembuf operations[] = {{kLockSemNumber, taken, IPC_NOWAIT},
                         {kLockSemNumber, 0, IPC_NOWAIT},
                         {kLockSemNumber, 1, IPC_NOWAIT}};
  return semop(id, operations, 3) == 0;
}

LockAction give(const LockState& state) {
  if (!setFree(state.id, state.value)) {
    return errno == EAGAIN ? LockAction{false, "its value has just changed; look again"}
                           : couldNot("repair it");
  }
  switch (state.condition) {
    case LockCondition::kAbandoned:
      return {true, "gave it back for process " + std::to_string(state.process) +
                        ", which has ended; its value is 1"};
    case LockCondition::kHeld:
      return {true, "made it free though " + holderOf(state) +
                        " holds it: another HAP may run beside the one of that process, and "
                        "the value is above 1 once that gives it back"};
    case LockCondition::kUnclear:
      return {true,
              "finished it: it is free for one holder; if a process of another PID namespace "
              "holds it, the value is above 1 once that gives it back"};
    default:
      return {true, "set its value from " + std::to_string(state.value) +
                        " to 1; a HAP that held it meanwhile raises it again when it ends"};
  }
}

}  // namespace

LockAction createLock(int key) {
  const LockState before = lookAtLock(key);
  kw::dev::parts::LibSemaphore semaphore(key);
  if (semaphore.create() == 0) {
    return {true, before.condition == LockCondition::kMissing
                      ? "created it, free for one holder"
                      : "finished it: it is free for one holder"};
  }
  if (errno == EEXIST) {
    return {true, "it exists already, and was left as it is"};
  }
  LockAction action = couldNot("create it");
  const SemaphoreShortage& shortage = before.shortage;
  action.message +=
      shortage.message.empty() ? "" : ": " + shortage.message + "; " + shortage.advice;
  return action;
}

LockAction removeLock(int key, bool force) {
  const LockState state = lookAtLock(key);
  if (state.condition == LockCondition::kMissing) {
    return {true, "it does not exist; nothing was removed"};
  }
  const std::string refusal = refusalOf(state);
  if (!refusal.empty() && !force) {
    return {false, refusal + "; --force removes it all the same"};
  }
  if (semctl(state.id, kLockSemNumber, IPC_RMID) != 0) {
    return couldNot("remove it");
  }
  return {true, "removed it" + (refusal.empty() ? "" : ", though " + refusal) +
                    "; requests are refused with 0x7000c until it is created and the hosts have "
                    "loaded again"};
}

LockAction repairLock(int key, bool force) {
  const LockState state = lookAtLock(key);
  switch (state.condition) {
    case LockCondition::kMissing:
      return {false, "it does not exist; --create makes it"};
    case LockCondition::kNotPermitted:
      return {false, "this user may not change it; run as its owner"};
    case LockCondition::kFree:
      return {true, "nothing is wrong with it"};
    case LockCondition::kUnfinished:
      return state.is_own_kind ? createLock(key) : give(state);
    default:
      break;
  }
  const std::string refusal = refusalOf(state);
  return refusal.empty() || force
             ? give(state)
             : LockAction{false, refusal + "; --force repairs it all the same"};
}

}  // namespace kw::trx::tools
