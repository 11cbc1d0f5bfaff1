// SPDX-License-Identifier: Apache-2.0
#include "trace_ring.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "process.h"
#include "unique_fd.h"

namespace kw::platform {

namespace {

using trace_file::Shape;
using trace_file::SharedHeader;
using trace_file::SharedLane;
using trace_file::SharedSlot;
using trace_file::SharedWord;

constexpr int kFailed = -1;
constexpr std::uint64_t kNsPerSecond = 1000000000;

/// Lanes asked for in one claim. Each one that is held costs a system call.
constexpr std::uint32_t kTries = 8;
constexpr std::uint32_t kWideClaimPause = 64;

/// Number of rings made so far.
std::atomic<std::uint64_t> rings_made{0};

/// The lanes for `records` records; none at all when there can't be so many.
Shape shapeFor(std::size_t records) {
  if (records > trace_file::kMaxSlots) return {};
  std::uint32_t slots = 1;
  while (slots < records) slots *= 2;
  Shape shape{0, 0, slots};
  if (slots > trace_file::kWideLanes) {
    shape = {trace_file::kWideLanes, slots / trace_file::kWideLanes, trace_file::kNarrowLanes};
  }
  return trace_file::fileBytes(shape) > std::numeric_limits<std::size_t>::max() / 2 ? Shape{}
                                                                                    : shape;
}

std::uint64_t nowNs() noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * kNsPerSecond +
         static_cast<std::uint64_t>(now.tv_nsec);
}

/// Copies `kHalf` to 2 * `kHalf` bytes by two copies that may overlap.
template <std::size_t kHalf>
void copyHalves(unsigned char* to, const void* data, std::size_t bytes) noexcept {
  const auto* from = static_cast<const unsigned char*>(data);
  std::memcpy(to, from, kHalf);
  std::memcpy(to + bytes - kHalf, from + bytes - kHalf, kHalf);
}

/// Copies the data of a record. The usual lengths get a copy without a call.
inline __attribute__((always_inline)) void copyData(unsigned char* to, const void* data,
                                                    std::size_t bytes) noexcept {
  if (bytes >= 16 && bytes <= 32) {
    copyHalves<16>(to, data, bytes);
  } else if (bytes >= 8 && bytes < 16) {
    copyHalves<8>(to, data, bytes);
  } else {
    std::memcpy(to, data, bytes);
  }
}

inline __attribute__((always_inline)) void fill(trace_file::Body& body,
                                                const TraceArguments& record, const Writer& writer,
                                                std::uint32_t claim) noexcept {
  const auto length = static_cast<std::uint32_t>(std::max(record.length, 0));
  body.process_id = writer.process;
  body.thread_id = writer.thread;
  body.region = static_cast<std::uint32_t>(record.region);
  body.level = record.level;
  body.trace_class = record.trace_class;
  body.id = static_cast<std::uint32_t>(record.id);
  body.claim = claim;
  body.length = record.data == nullptr ? 0 : length;
  if (body.length != 0) {
    copyData(body.data, record.data, std::min<std::size_t>(length, sizeof(body.data)));
  }
  body.time_ns = nowNs();  // last: across the call there is nothing left to keep
}

constexpr std::uint64_t ownerWord(std::uint64_t former, std::uint32_t thread) {
  return ((former >> 32) + 1) << 32 | thread;
}

void giveBack(SharedLane& lane) noexcept {
  lane.owner.store(ownerWord(lane.owner.load(std::memory_order_relaxed), 0),
                   std::memory_order_release);
}

}  // namespace

TraceRing::TraceRing(void* mapping, const Shape& shape) noexcept
    : header_(new (mapping) SharedHeader{}),
      lanes_(reinterpret_cast<SharedLane*>(header_ + 1)),
      slots_(reinterpret_cast<SharedSlot*>(lanes_ + shape.lanes())),
      shape_(shape),
      number_(++rings_made) {
  // This touches every page, so that no writer has to wait for one.
  std::uninitialized_value_construct_n(lanes_, shape.lanes());
  std::uninitialized_value_construct_n(slots_, shape.firstSlot(shape.lanes()));
  header_->magic = trace_file::kMagic;
  header_->version = trace_file::kVersion;
  header_->slot_bytes = sizeof(SharedSlot);
  header_->shape = shape;
}

int TraceRing::create(const char* path, std::size_t records, Existing existing,
                      TraceRing& ring) noexcept {
  const Shape shape = shapeFor(records);
  if (shape.lanes() == 0) {
    errno = EINVAL;
    return kFailed;
  }
  if (checkPlace(path, existing) != 0) return kFailed;
  NewFile file(path);
  void* const mapping = file.fd() < 0 ? MAP_FAILED : file.map(trace_file::fileBytes(shape));
  if (mapping == MAP_FAILED) return kFailed;
  const TraceRing made(mapping, shape);
  made.noteProcesses(path);
  if (file.giveName(existing) != 0) {
    made.release();
    return kFailed;
  }
  ring = made;
  return 0;
}

/// Notes who makes this ring, and who writes on into the one before: that file loses its name.
void TraceRing::noteProcesses(const char* path) const noexcept {
  const ProcessKey maker = thisProcess();
  header_->maker = maker.id;
  header_->maker_start = maker.start;
  trace_file::HeaderCopy former{};
  const UniqueFd file(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.get() < 0 || read(file.get(), &former, sizeof(former)) != sizeof(former)) return;
  const bool is_ring = former.magic == trace_file::kMagic && former.version == trace_file::kVersion;
  if (is_ring && former.maker != maker.id && isRunning({former.maker, former.maker_start})) {
    header_->displaced = former.maker;
  }
}

void TraceRing::release() const noexcept {
  if (header_ == nullptr) return;
  if (header_->maker == static_cast<std::uint32_t>(getpid())) header_->maker = 0;
  munmap(header_, static_cast<std::size_t>(trace_file::fileBytes(shape_)));
}

// Inside its callers, where the arguments of a record stay in registers.
inline __attribute__((always_inline)) bool TraceRing::storeAt(LaneCursor& cursor,
                                                              const TraceArguments& record,
                                                              Writer& writer) const noexcept {
  if ((cursor.left == 0 || cursor.ring != number_) && !claim(writer, cursor)) {
    header_->dropped.fetch_add(1, std::memory_order_relaxed);
    return false;
  }
  SharedSlot& slot = *cursor.slot++;
  const std::uint64_t number = cursor.number++;
  cursor.lane->begun.store(number + 1, std::memory_order_release);
  slot.mark.store(trace_file::busyMark(number), std::memory_order_relaxed);
  trace_file::orderAccesses();
  fill(slot.body, record, writer, cursor.claim);
  slot.mark.store(trace_file::completeMark(number), std::memory_order_release);
  if (--cursor.left == 0) giveBack(*cursor.lane);
  return true;
}

bool TraceRing::storeOutOfTurn(TraceArguments record, Writer& writer) const noexcept {
  if (writer.cursor.ring != 0) {  // what the lane gets from now on comes after this record
    writer.interrupted_ring = writer.cursor.ring;
    writer.cursor.ring = 0;
  }
  LaneCursor once;
  return storeAt(once, record, writer);
}

bool TraceRing::store(const TraceArguments& record, Writer& writer) const noexcept {
  if (writer.storing) {  // in the handler of a signal that came between two steps of the rest
    return storeOutOfTurn(record, writer);
  }
  writer.storing = true;
  std::atomic_signal_fence(std::memory_order_seq_cst);
  const bool stored = storeAt(writer.cursor, record, writer);
  std::atomic_signal_fence(std::memory_order_seq_cst);
  writer.storing = false;
  return stored;
}

std::uint64_t TraceRing::nextClaim() const noexcept {
  return header_->claims.fetch_add(1, std::memory_order_relaxed);
}

/// Finds a lane for the next records of the calling thread: its own again, under the number of a
/// new claim, when a handler wrote in between. A wide one is not asked for again at once when other
/// threads have so many of them.
bool TraceRing::claim(Writer& writer, LaneCursor& cursor) const noexcept {
  const bool outermost = &cursor == &writer.cursor;
  if (outermost && std::exchange(writer.interrupted_ring, 0) == number_ && cursor.left != 0) {
    cursor.claim = static_cast<std::uint32_t>(nextClaim());
    cursor.ring = number_;
    return true;
  }
  if (shape_.wide != 0 && outermost) {
    if (writer.wide_claim_pause == 0) {
      if (claimOf(0, shape_.wide, header_->wide_tries, writer.thread, cursor)) return true;
      writer.wide_claim_pause = kWideClaimPause;
    }
    --writer.wide_claim_pause;
  }
  return claimOf(shape_.wide, shape_.narrow, header_->narrow_tries, writer.thread, cursor);
}

/// Finds one among the `count` lanes from `first` on, of which the next in turn is `tries`.
bool TraceRing::claimOf(std::uint32_t first, std::uint32_t count, SharedWord& tries,
                        std::uint32_t thread, LaneCursor& cursor) const noexcept {
  for (std::uint32_t i = 0; i < kTries; ++i) {
    const std::uint64_t turn = tries.fetch_add(1, std::memory_order_relaxed);
    if (take(first + static_cast<std::uint32_t>(turn % count), thread, cursor)) return true;
  }
  return false;
}

/// Takes a lane that is free, or whose owner is dead, and goes on behind the records of that one.
bool TraceRing::take(std::uint32_t index, std::uint32_t thread, LaneCursor& cursor) const noexcept {
  SharedLane& lane = lanes_[index];
  SharedSlot* const slots = slots_ + shape_.firstSlot(index);
  std::uint64_t seen = lane.owner.load(std::memory_order_relaxed);
  const auto owner = static_cast<std::uint32_t>(seen);
  if (owner != 0 && (owner == thread || threadLives(owner))) return false;
  if (!lane.owner.compare_exchange_strong(seen, ownerWord(seen, thread), std::memory_order_acquire,
                                          std::memory_order_relaxed)) {
    return false;
  }
  // A child that was forked in the middle of a record may have set `begun` back.
  const std::uint64_t base = lane.base.load(std::memory_order_relaxed);
  const std::uint64_t number = std::max(lane.begun.load(std::memory_order_acquire), base);
  const std::uint32_t room = shape_.slotsOf(index);
  auto used = static_cast<std::uint32_t>(std::min<std::uint64_t>(number - base, room));
  if (used != 0) slots[used - 1].mark.load(std::memory_order_acquire);  // the last of a dead owner
  if (used == room) {
    lane.base.store(number, std::memory_order_release);
    used = 0;
  }
  const auto claim = static_cast<std::uint32_t>(nextClaim());
  cursor = {number_, &lane, slots + used, number, claim, room - used};
  return true;
}

}  // namespace kw::platform
