// SPDX-License-Identifier: Apache-2.0
// Processes that are told apart from later ones of the same id. It allocates nothing, so a signal
// handler may use it. Any thread.
#ifndef KW_RING_PROCESS_H_
#define KW_RING_PROCESS_H_

#include <cstdint>

namespace kw::platform {

/// A process by its id and by when it was started, in clock ticks since the machine was.
struct ProcessKey {
  std::uint32_t id = 0;     ///< 0 for none
  std::uint64_t start = 0;  ///< 0 when not known
};

/// The calling process.
ProcessKey thisProcess() noexcept;

/// True when this process runs; false also when that is not known.
bool isRunning(const ProcessKey& process) noexcept;

}  // namespace kw::platform

#endif  // KW_RING_PROCESS_H_
