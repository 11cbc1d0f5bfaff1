// SPDX-License-Identifier: Apache-2.0
// What can be done to the exclusion semaphore. Any thread.
#ifndef KW_TRX_TOOLS_LOCK_LOCK_REPAIR_H_
#define KW_TRX_TOOLS_LOCK_LOCK_REPAIR_H_

#include <string>

namespace kw::trx::tools {

struct LockAction {
  bool done;            ///< false: it was refused or could not be carried out; nothing changed
  std::string message;  ///< what was done, or why it was not
};

/// Creates the semaphore with this key, or finishes it, as the start of the engine does; one that
/// is finished is left as it is.
LockAction createLock(int key);

/// Removes the semaphore. Without `force` only when nobody can hold it.
LockAction removeLock(int key, bool force);

/// Makes the semaphore free for exactly one holder. Without `force` only when nobody can hold it.
LockAction repairLock(int key, bool force);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LOCK_LOCK_REPAIR_H_
