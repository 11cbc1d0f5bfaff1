// SPDX-License-Identifier: Apache-2.0
// Form of a trace ring file: one header, then a power of two of slots, in the byte order of the
// machine that writes it. Record n goes to slot n modulo the number of slots.
//
// The mark of a slot tells what is in it: 0 before the first use, 2n + 1 while record n is being
// written, 2n + 2 once it is complete. Marks of a slot only grow. A writer owns the slot while the
// mark is odd, so the data of a complete slot are never a mixture; one who dies there leaves
// the slot odd for good.
#ifndef KW_PLATFORM_STANDIN_TRACE_FILE_H_
#define KW_PLATFORM_STANDIN_TRACE_FILE_H_

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "kw/platform.h"

namespace kw::platform::trace_file {

/// A word shared by processes, which needs no lock that could live outside the mapping.
using SharedWord = std::atomic<std::uint64_t>;
static_assert(SharedWord::is_always_lock_free);
static_assert(sizeof(SharedWord) == sizeof(std::uint64_t));

constexpr std::uint64_t kMagic = 0x474E495254574BULL;  // "KWTRING" and a NUL, little-endian
constexpr std::uint32_t kVersion = 1;
constexpr std::uint32_t kMaxSlots = 1U << 24;

/// `Word` is `SharedWord` in the writers' mapping and a plain word in a reader's copy.
template <typename Word>
struct Header {
  std::uint64_t magic;  ///< also tells the byte order
  std::uint32_t version;
  std::uint32_t slot_bytes;
  std::uint32_t slot_count;
  std::uint32_t unused[11];
  Word reserved;  ///< records begun so far, the number of the next one; in a cache line of its own
  std::uint64_t padding[7];
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
  std::uint32_t unused;
  unsigned char data[kTraceDataMax];
};

template <typename Word>
struct Slot {
  Word mark;
  Body body;
};

using SharedHeader = Header<SharedWord>;
using SharedSlot = Slot<SharedWord>;
using HeaderCopy = Header<std::uint64_t>;
using SlotCopy = Slot<std::uint64_t>;

static_assert(sizeof(SharedHeader) == 128 && sizeof(HeaderCopy) == 128);
static_assert(offsetof(HeaderCopy, reserved) == 64);
static_assert(sizeof(SharedSlot) == 128 && sizeof(SlotCopy) == 128);
static_assert(offsetof(SlotCopy, body) == 8 && offsetof(Body, data) == 40);

constexpr std::uint64_t busyMark(std::uint64_t number) { return 2 * number + 1; }
constexpr std::uint64_t completeMark(std::uint64_t number) { return 2 * number + 2; }
constexpr bool isBusy(std::uint64_t mark) { return mark % 2 == 1; }

/// Size of a ring file with `slots` slots.
constexpr std::uint64_t fileBytes(std::uint32_t slots) {
  return sizeof(SharedHeader) + std::uint64_t{slots} * sizeof(SharedSlot);
}

/// Keeps the accesses to a mark and to the data of its slot in their order, between a writer and a
/// reader that looks at the file from outside.
inline void orderAccesses() noexcept {
#ifndef __SANITIZE_THREAD__  // g++ knows no fences under ThreadSanitizer, which sees no files
  std::atomic_thread_fence(std::memory_order_acq_rel);
#endif
}

}  // namespace kw::platform::trace_file

#endif  // KW_PLATFORM_STANDIN_TRACE_FILE_H_
