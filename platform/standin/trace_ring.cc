// SPDX-License-Identifier: Apache-2.0
#include "trace_ring.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <memory>
#include <new>

#include "unique_fd.h"

namespace kw::platform {

namespace {

using trace_file::SharedHeader;
using trace_file::SharedSlot;
using trace_file::SharedWord;

constexpr int kFailed = -1;
constexpr mode_t kFileMode = 0644;
constexpr std::uint64_t kNsPerSecond = 1000000000;

/// The number of slots for `records` records; 0 when there can't be so many.
std::uint32_t slotsFor(std::size_t records) {
  if (records > trace_file::kMaxSlots) return 0;
  std::uint32_t slots = 1;
  while (slots < records) slots *= 2;
  return trace_file::fileBytes(slots) > std::numeric_limits<std::size_t>::max() / 2 ? 0 : slots;
}

/// Maps the new file `fd`, made long enough first; MAP_FAILED with `errno` set when it can't. The
/// disk blocks are taken here, as a full disk would later kill the writer with SIGBUS.
void* mapNew(int fd, std::size_t bytes) {
  int error = 0;
  do {
    error = posix_fallocate(fd, 0, static_cast<off_t>(bytes));
  } while (error == EINTR);
  if (error != 0) {
    errno = error;
    return MAP_FAILED;
  }
  return mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
}

/// Takes the slot for record `number`; false when another writer has it, or a later record.
bool claim(SharedWord& mark, std::uint64_t number) noexcept {
  const std::uint64_t busy = trace_file::busyMark(number);
  std::uint64_t seen = mark.load(std::memory_order_relaxed);
  do {
    if (trace_file::isBusy(seen) || seen > busy) return false;
  } while (!mark.compare_exchange_weak(seen, busy, std::memory_order_acquire,
                                       std::memory_order_relaxed));
  trace_file::orderAccesses();
  return true;
}

std::uint64_t nowNs() noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * kNsPerSecond +
         static_cast<std::uint64_t>(now.tv_nsec);
}

void fill(trace_file::Body& body, const TraceArguments& record, WriterId writer) noexcept {
  const auto length = static_cast<std::uint32_t>(std::max(record.length, 0));
  body.time_ns = nowNs();
  body.process_id = writer.process;
  body.thread_id = writer.thread;
  body.region = static_cast<std::uint32_t>(record.region);
  body.level = record.level;
  body.trace_class = record.trace_class;
  body.id = static_cast<std::uint32_t>(record.id);
  body.length = record.data == nullptr ? 0 : length;
  if (body.length != 0) {
    std::memcpy(body.data, record.data, std::min<std::size_t>(length, sizeof(body.data)));
  }
}

}  // namespace

TraceRing::TraceRing(void* mapping, std::uint32_t slots) noexcept
    : header_(new (mapping) SharedHeader{}),
      slots_(reinterpret_cast<SharedSlot*>(header_ + 1)),
      slot_count_(slots) {
  // This touches every page, so that no writer has to wait for one.
  std::uninitialized_value_construct_n(slots_, slots);
  header_->magic = trace_file::kMagic;
  header_->version = trace_file::kVersion;
  header_->slot_bytes = sizeof(SharedSlot);
  header_->slot_count = slots;
}

int TraceRing::create(const std::string& path, std::size_t records, TraceRing& ring) {
  const std::uint32_t slots = slotsFor(records);
  if (slots == 0) {
    errno = EINVAL;
    return kFailed;
  }
  // The file gets its name once it is whole, and a reader or writer of the one before keeps that.
  const std::string unfinished = path + "." + std::to_string(getpid()) + ".new";
  unlink(unfinished.c_str());
  const UniqueFd file(open(unfinished.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode));
  if (file.get() < 0) return kFailed;
  void* const mapping = mapNew(file.get(), static_cast<std::size_t>(trace_file::fileBytes(slots)));
  if (mapping != MAP_FAILED) {
    const TraceRing made(mapping, slots);
    if (rename(unfinished.c_str(), path.c_str()) == 0) {
      ring = made;
      return 0;
    }
    made.release();
  }
  const int error = errno;
  unlink(unfinished.c_str());
  errno = error;
  return kFailed;
}

void TraceRing::release() const noexcept {
  if (header_ == nullptr) return;
  munmap(header_, static_cast<std::size_t>(trace_file::fileBytes(slot_count_)));
}

bool TraceRing::store(const TraceArguments& record, WriterId writer) const noexcept {
  const std::uint64_t number = header_->reserved.fetch_add(1, std::memory_order_relaxed);
  SharedSlot& slot = slots_[number & (slot_count_ - 1)];
  if (!claim(slot.mark, number)) return false;
  fill(slot.body, record, writer);
  slot.mark.store(trace_file::completeMark(number), std::memory_order_release);
  return true;
}

}  // namespace kw::platform
