// SPDX-License-Identifier: Apache-2.0
// Starts a host with the recorder before its platform library. One thread.
#ifndef KW_TRX_TOOLS_ENGINE_RECORDING_H_
#define KW_TRX_TOOLS_ENGINE_RECORDING_H_

#include <cstddef>
#include <string>
#include <vector>

namespace kw::trx::tools {

/// The file that running `name` executes, looked for as shells do; empty when there is none.
std::string programOf(const std::string& name);

/// Why no recorder can be preloaded into this program, or would see none of its records; empty when
/// it can, and for what is no program of a machine, such as a script.
std::string preloadProblem(const std::string& program);

/// The ring that a host is to write.
struct Recording {
  std::string file;  ///< whole path
  std::size_t records = 0;
  std::string level;  ///< as the recorder takes it
};

/// Becomes the host of these words. Returns only when that fails: why.
std::string becomeRecorded(const Recording& recording, const std::vector<std::string>& host);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ENGINE_RECORDING_H_
