// SPDX-License-Identifier: Apache-2.0
// Hosts in other IPC namespaces than that of the tool: each namespace has an exclusion semaphore
// of its own. Any thread.
#ifndef KW_TRX_TOOLS_LOCK_OTHER_NAMESPACES_H_
#define KW_TRX_TOOLS_LOCK_OTHER_NAMESPACES_H_

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace kw::trx::tools {

struct OtherNamespaces {
  std::vector<pid_t> hosts;  ///< processes with the engine there, by their numbers; not this tool
  std::size_t unseen = 0;    ///< processes that this user may not look into
  bool all_listed = false;   ///< the tool is in the first PID namespace, which has all processes
};

/// The processes of this machine, as far as this user may look into them.
OtherNamespaces otherNamespaces();

/// Why the semaphore that the tool sees may be another one than that of a host, in words; empty:
/// no host is in another namespace.
std::string wordsOf(const OtherNamespaces& others);

/// How to see the semaphore of the first of these hosts; empty when there is none.
std::string adviceOf(const OtherNamespaces& others);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LOCK_OTHER_NAMESPACES_H_
