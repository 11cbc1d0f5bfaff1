// SPDX-License-Identifier: Apache-2.0
// Work shared out among processes.
#ifndef KW_TRX_TOOLS_COMMON_PROCESSES_H_
#define KW_TRX_TOOLS_COMMON_PROCESSES_H_

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace kw::trx::tools {

/// Texts without a NUL.
using Texts = std::vector<std::string>;

/// As many processes as this machine runs at once.
std::size_t usualJobs();

/// Calls `work` with each number below `count`, in order within each of `jobs` child processes,
/// whose other effects are lost. Returns what it returned; for numbers whose process ended before,
/// one text that tells how. To be called while no other thread runs. Throws `std::runtime_error`
/// when no process can be started.
std::vector<Texts> inProcesses(std::size_t count, std::size_t jobs,
                               const std::function<Texts(std::size_t number)>& work);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMON_PROCESSES_H_
