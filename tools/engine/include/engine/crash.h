// SPDX-License-Identifier: Apache-2.0
// What is known of a process that a HAP has taken down. One thread.
#ifndef KW_TRX_TOOLS_ENGINE_CRASH_H_
#define KW_TRX_TOOLS_ENGINE_CRASH_H_

#include <string>
#include <vector>

namespace kw::trx::tools {

struct Crash {
  std::string hap;                   ///< the one that ran; empty: none did
  std::string module;                ///< its file; empty: not known
  std::vector<std::string> records;  ///< the last ones in words, oldest first
};

/// Reads the ring `path` of the process that ended. The configuration tells the module.
Crash crashIn(const std::string& path);

/// The name of a signal with what it means, such as "SIGSEGV (Segmentation fault)".
std::string signalText(int signal);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ENGINE_CRASH_H_
