// SPDX-License-Identifier: Apache-2.0
// What the system tells of a process. Any thread.
#ifndef KW_TRX_TOOLS_LOCK_PROCESS_FACTS_H_
#define KW_TRX_TOOLS_LOCK_PROCESS_FACTS_H_

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kw::trx::tools {

struct ProcessFacts {
  bool gone = false;    ///< it has ended, also when nobody has waited for it yet
  std::string command;  ///< its words, control characters made visible; empty: not known
  std::optional<std::int64_t> started;  ///< seconds since 1970; none: not known
};

/// What is known of the process `id`, as far as this user may see it.
ProcessFacts factsOf(pid_t id);

/// All processes that the tool sees, by their numbers.
std::vector<pid_t> allProcesses();

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LOCK_PROCESS_FACTS_H_
