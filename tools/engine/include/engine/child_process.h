// SPDX-License-Identifier: Apache-2.0
// Work that may crash, in a process of its own. One thread, while no other runs.
#ifndef KW_TRX_TOOLS_ENGINE_CHILD_PROCESS_H_
#define KW_TRX_TOOLS_ENGINE_CHILD_PROCESS_H_

#include <functional>
#include <optional>

namespace kw::trx::tools {

/// How the work ended.
struct ChildEnd {
  std::optional<int> status;  ///< what it returned; none: it never got there
  int signal = 0;             ///< what ended the process; 0: it ended by itself
  int exit_status = 0;        ///< then, of the process
};

/// Runs `work` in a child process, which ends behind it and also when this process ends. Interrupts
/// are left to the child meanwhile. Throws `std::system_error` when there can be no child.
ChildEnd runInChild(const std::function<int()>& work);

/// Tells the parent that the work ends with `status`, before the child ends in another way than by
/// returning from it. Does nothing in any other process.
void noteEndOfWork(int status);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ENGINE_CHILD_PROCESS_H_
