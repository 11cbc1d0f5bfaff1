// SPDX-License-Identifier: Apache-2.0
// Form of a trace ring file, in the byte order of the machine that writes it: one header, the heads
// of all lanes, then the slots of all lanes. docs/trace-ring.md tells what lanes, claims and marks
// are for.
#ifndef KW_RING_TRACE_FILE_H_
#define KW_RING_TRACE_FILE_H_

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "kw/trace_record.h"

namespace kw::platform::trace_file {

/// A word shared by processes, which needs no lock that could live outside the mapping.
using SharedWord = std::atomic<std::uint64_t>;
static_assert(SharedWord::is_always_lock_free);
static_assert(sizeof(SharedWord) == sizeof(std::uint64_t));

constexpr std::uint64_t kMagic = 0x474E495254574BULL;  // "KWTRING" and a NUL, little-endian
constexpr std::uint32_t kVersion = 3;
constexpr std::uint32_t kMaxSlots = 1U << 24;

/// Wide lanes of a ring that has any, and narrow ones beside them. With twice as many wide lanes,
/// the taking of lanes cost two threads a tenth of their time; fewer would leave less of the ring
/// to the thread that writes most.
constexpr std::uint32_t kWideLanes = 128;
constexpr std::uint32_t kNarrowLanes = 256;

/// How the slots are divided.
struct Shape {
  std::uint32_t wide;    ///< number of wide lanes, the first ones
  std::uint32_t slots;   ///< slots of each of them
  std::uint32_t narrow;  ///< number of lanes with one slot, after them

  constexpr std::uint32_t lanes() const { return wide + narrow; }
  constexpr std::uint32_t slotsOf(std::uint32_t lane) const { return lane < wide ? slots : 1; }
  constexpr std::uint64_t firstSlot(std::uint32_t lane) const {
    return lane < wide ? std::uint64_t{lane} * slots : std::uint64_t{wide} * slots + (lane - wide);
  }
};

/// `Word` is `SharedWord` in the writers' mapping and a plain word in a reader's copy.
template <typename Word>
struct Header {
  std::uint64_t magic;  ///< also tells the byte order
  std::uint32_t version;
  std::uint32_t slot_bytes;
  Shape shape;
  std::uint32_t maker;        ///< process that made the ring; 0 once it has closed it
  std::uint64_t maker_start;  ///< when that was started: see ProcessKey
  std::uint32_t displaced;    ///< process that ran and had not closed the file before; 0 for none
  std::uint32_t unused[5];
  Word claims;        ///< lanes taken so far; in a cache line of its own
  Word dropped;       ///< records that found no lane at all
  Word wide_tries;    ///< wide lanes asked for so far, one after the other
  Word narrow_tries;  ///< narrow ones; those of a counter for both would let the others skip lanes
  std::uint64_t padding[4];
};

template <typename Word>
struct Lane {
  Word owner;  ///< thread id of the owner, or 0, and above its 32 bits a count of the owners
  Word base;
  Word begun;
  std::uint64_t padding[5];
};

struct Body {
  std::uint64_t time_ns;
  std::uint32_t process_id;
  std::uint32_t thread_id;
  std::uint32_t region;
  std::uint32_t level;
  std::uint32_t trace_class;
  std::uint32_t id;
  std::uint32_t length;  ///< as written, which may be more than `data` has room for
  std::uint32_t claim;   ///< low half of `claims` for the lane: the lanes of a thread in order
  unsigned char data[kTraceDataMax];
};

template <typename Word>
struct Slot {
  Word mark;
  Body body;
};

using SharedHeader = Header<SharedWord>;
using SharedLane = Lane<SharedWord>;
using SharedSlot = Slot<SharedWord>;
using HeaderCopy = Header<std::uint64_t>;
using LaneCopy = Lane<std::uint64_t>;
using SlotCopy = Slot<std::uint64_t>;

static_assert(sizeof(SharedHeader) == 128 && sizeof(HeaderCopy) == 128);
static_assert(offsetof(HeaderCopy, claims) == 64);
static_assert(sizeof(SharedLane) == 64 && sizeof(LaneCopy) == 64);
static_assert(sizeof(SharedSlot) == 128 && sizeof(SlotCopy) == 128);
static_assert(offsetof(SlotCopy, body) == 8 && offsetof(Body, data) == 40);

constexpr std::uint64_t busyMark(std::uint64_t number) { return 2 * number + 1; }
constexpr std::uint64_t completeMark(std::uint64_t number) { return 2 * number + 2; }

/// Where the heads of the lanes begin, where the slots do, and where the file ends.
constexpr std::uint64_t kLanesOffset = sizeof(SharedHeader);
constexpr std::uint64_t slotsOffset(const Shape& shape) {
  return kLanesOffset + std::uint64_t{shape.lanes()} * sizeof(SharedLane);
}
constexpr std::uint64_t fileBytes(const Shape& shape) {
  return slotsOffset(shape) + shape.firstSlot(shape.lanes()) * sizeof(SharedSlot);
}

/// Keeps the accesses to a mark and to the data of its slot in their order, between a writer and a
/// reader that looks at the file from outside.
inline void orderAccesses() noexcept {
#ifndef __SANITIZE_THREAD__  // g++ knows no fences under ThreadSanitizer, which sees no files
  std::atomic_thread_fence(std::memory_order_acq_rel);
#endif
}

}  // namespace kw::platform::trace_file

#endif  // KW_RING_TRACE_FILE_H_
