// SPDX-License-Identifier: Apache-2.0
// The exclusion semaphore as it is found. Any thread.
#ifndef KW_TRX_TOOLS_LOCK_LOCK_STATE_H_
#define KW_TRX_TOOLS_LOCK_LOCK_STATE_H_

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "lock/process_facts.h"
#include "lock/semaphore_shortage.h"

namespace kw::trx::tools {

/// The one semaphore of the set that the engine uses.
constexpr int kLockSemNumber = 0;
/// The stand-in of the platform makes sets of two; the second one is 1 once the first one was free.
constexpr int kLockSemaphores = 2;

enum class LockCondition {
  kFree,
  kHeld,
  kMissing,
  kNotPermitted,  ///< to this user
  kUnfinished,    ///< its creator died before it was free for anybody
  kUnclear,       ///< never finished too, or held by a process of another PID namespace
  kAbandoned,     ///< at 0 though the last process that used it has ended
  kAboveOne,
};

struct LockState {
  LockCondition condition = LockCondition::kMissing;
  int id = -1;  ///< of the system; -1: there is none
  std::uint32_t uid = 0, gid = 0, mode = 0;
  std::int64_t used = 0;     ///< last operation, seconds since 1970; 0: never used
  std::int64_t changed = 0;  ///< made or set by other means, seconds since 1970
  // The rest is known only when the semaphore can be read.
  bool readable = false;
  int value = 0;
  bool is_own_kind = false;  ///< a set as the stand-in of the platform makes it,
  bool finished = false;     ///< and one that was set free for its first holder
  int waiting = 0;           ///< how many wait for it
  pid_t process = 0;  ///< the last one that changed the value; 0: in another PID namespace, or none
  ProcessFacts facts;          ///< of it
  SemaphoreShortage shortage;  ///< of one that is missing: why it cannot be made
};

/// Looks at the semaphore with this key; changes nothing. Throws `std::system_error` when the
/// system does not let it.
LockState lookAtLock(int key);

/// True when what is wrong must be fixed; false for `kFree` and `kHeld`.
bool isWrong(LockCondition condition);

/// One word for it, as JSON has it, such as "neverFinished".
const char* nameOf(LockCondition condition);

/// What it means, in words.
std::string meaningOf(const LockState& state);

/// What to do; empty when nothing is wrong.
std::string adviceOf(const LockState& state);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LOCK_LOCK_STATE_H_
