// SPDX-License-Identifier: Apache-2.0
#include "trace_published.h"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "trace_writer.h"

namespace kw::platform {

namespace {

std::atomic<std::uint32_t> owners[Seat::kOwn];  // thread ids, 0 for a free seat

/// Registers the process for the barrier; asked once for each thread, as it costs nothing again.
bool offersBarrier() noexcept {
  const int error = errno;
  const bool offered =
      syscall(SYS_membarrier, MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED, 0, 0) == 0;
  errno = error;
  return offered;
}

}  // namespace

Seat takeSeat(std::uint32_t thread) noexcept {
  for (std::uint32_t i = 0; i < Seat::kOwn && (i != 0 || offersBarrier()); ++i) {
    const std::uint32_t index = (thread + i) % Seat::kOwn;
    std::uint32_t owner = owners[index].load(std::memory_order_relaxed);
    const bool is_free = owner == 0 || owner == thread || !threadLives(owner);
    if (is_free && owners[index].compare_exchange_strong(owner, thread)) return {index};
  }
  return {Seat::kOwn + thread % Seat::kShared};
}

void freeSeats() noexcept {
  for (std::atomic<std::uint32_t>& owner : owners) owner.store(0, std::memory_order_relaxed);
}

void showAllStores() noexcept {
  const int error = errno;
  syscall(SYS_membarrier, MEMBARRIER_CMD_PRIVATE_EXPEDITED, 0, 0);
  errno = error;
}

}  // namespace kw::platform
