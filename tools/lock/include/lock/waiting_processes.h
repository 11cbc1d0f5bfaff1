// SPDX-License-Identifier: Apache-2.0
// Who waits for a semaphore. Any thread.
#ifndef KW_TRX_TOOLS_LOCK_WAITING_PROCESSES_H_
#define KW_TRX_TOOLS_LOCK_WAITING_PROCESSES_H_

#include <sys/types.h>

#include <vector>

namespace kw::trx::tools {

/// The processes with a thread that waits at the semaphore set `id` of this IPC namespace, by their
/// numbers, as far as this user may look into them: root into all, others at most into their own.
/// Goes through all threads of the system.
std::vector<pid_t> processesWaitingFor(int id);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LOCK_WAITING_PROCESSES_H_
