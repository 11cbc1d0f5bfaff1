// SPDX-License-Identifier: Apache-2.0
// What the trace facility keeps for each thread that writes records.
#ifndef KW_RING_TRACE_WRITER_H_
#define KW_RING_TRACE_WRITER_H_

#include <cstdint>

#include "trace_file.h"
#include "trace_published.h"

namespace kw::platform {

/// The lane of a ring that a thread fills.
struct LaneCursor {
  std::uint64_t ring = 0;  ///< number of the ring; 0 for none
  trace_file::SharedLane* lane = nullptr;
  trace_file::SharedSlot* slot = nullptr;  ///< the next one
  std::uint64_t number = 0;                ///< of the record that goes there
  std::uint32_t claim = 0;                 ///< low half of the number of the claim
  std::uint32_t left = 0;                  ///< slots from there on
};

struct Writer {
  std::uint32_t process = 0;
  std::uint32_t thread = 0;  ///< kernel thread id; 0 while the thread is not known
  Seat seat;
  LaneCursor cursor;
  std::uint32_t wide_claim_pause = 0;  ///< records to store before asking for a wide lane again
  bool storing = false;                ///< also seen by a signal handler that writes a record
  std::uint64_t interrupted_ring = 0;  ///< that of `cursor`, which such a handler took out of it
};

/// That of the calling thread. No system call after the first time.
Writer& threadWriter() noexcept;

/// Forgets the calling thread; for the child of a fork.
void forgetThreadWriter() noexcept;

/// False when no thread has the id `thread` any more. Leaves `errno` alone.
bool threadLives(std::uint32_t thread) noexcept;

}  // namespace kw::platform

#endif  // KW_RING_TRACE_WRITER_H_
