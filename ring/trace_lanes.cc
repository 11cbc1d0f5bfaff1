// SPDX-License-Identifier: Apache-2.0
#include "trace_lanes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

#include "process.h"

namespace kw::platform {

namespace {

using trace_file::Body;
using trace_file::HeaderCopy;
using trace_file::LaneCopy;
using trace_file::Shape;
using trace_file::SlotCopy;

constexpr int kFailed = -1;
constexpr std::size_t kWindowSlots = 256;

// A record is begun and completed within a microsecond, unless its writer is interrupted or dies.
constexpr std::chrono::milliseconds kCompletionTime{100};
constexpr std::chrono::milliseconds kCompletionPoll{1};

/// Reads up to `bytes` at `offset`; the count is less only where the file ends or can't be read,
/// and then `error` is set.
std::size_t readFile(int fd, void* to, std::size_t bytes, std::uint64_t offset, int& error) {
  auto* out = static_cast<unsigned char*>(to);
  std::size_t read = 0;
  while (read != bytes) {
    const ssize_t got = pread(fd, out + read, bytes - read, static_cast<off_t>(offset + read));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) error = errno;
    if (got <= 0) break;
    read += static_cast<std::size_t>(got);
  }
  return read;
}

constexpr bool isPowerOfTwo(std::uint32_t number) {
  return number != 0 && (number & (number - 1)) == 0;
}

bool isShape(const Shape& shape) {
  const bool has_wide = shape.wide == trace_file::kWideLanes && isPowerOfTwo(shape.slots) &&
                        shape.slots <= trace_file::kMaxSlots / trace_file::kWideLanes;
  return (has_wide || (shape.wide == 0 && shape.slots == 0)) && isPowerOfTwo(shape.narrow) &&
         shape.narrow <= trace_file::kNarrowLanes;
}

/// True for a ring file, whole or cut short.
bool isRing(const HeaderCopy& header, std::uint64_t file_bytes) {
  return header.magic == trace_file::kMagic && header.version == trace_file::kVersion &&
         header.slot_bytes == sizeof(SlotCopy) && isShape(header.shape) &&
         file_bytes <= trace_file::fileBytes(header.shape);
}

bool isSameClaim(const LaneRun& a, const LaneRun& b) {
  return a.claim == b.claim && a.process_id == b.process_id && a.thread_id == b.thread_id;
}

}  // namespace

int TraceLanes::open(const std::string& path) {
  // Not blocking, as the path may be one of a pipe.
  file_.reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file_.get() < 0) return kFailed;
  struct stat status {};
  HeaderCopy header{};
  if (fstat(file_.get(), &status) != 0) return kFailed;
  if (!S_ISREG(status.st_mode) || readAt(&header, sizeof(header), 0) != sizeof(header) ||
      !isRing(header, static_cast<std::uint64_t>(status.st_size))) {
    errno = error_ != 0 ? error_ : EINVAL;
    return kFailed;
  }
  path_ = path;
  shape_ = header.shape;
  lanes_.resize(shape_.lanes());
  positions_.resize(shape_.lanes());
  windows_.resize(shape_.lanes());
  return 0;
}

RingWriters TraceLanes::writers() const {
  HeaderCopy header{};
  int error = 0;
  if (readFile(file_.get(), &header, sizeof(header), 0, error) != sizeof(header)) return {};
  struct stat own {};
  struct stat named {};
  const bool is_at_path = fstat(file_.get(), &own) == 0 && stat(path_.c_str(), &named) == 0 &&
                          own.st_dev == named.st_dev && own.st_ino == named.st_ino;
  return {header.maker, isRunning({header.maker, header.maker_start}), header.displaced,
          is_at_path};
}

std::size_t TraceLanes::readAt(void* to, std::size_t bytes, std::uint64_t offset) {
  return error_ != 0 ? 0 : readFile(file_.get(), to, bytes, offset, error_);
}

void TraceLanes::look(std::vector<LaneRun>& runs) {
  readHeads();
  const auto deadline = std::chrono::steady_clock::now() + kCompletionTime;
  for (bool given_up = false;;) {
    bool finished = true;
    for (std::uint32_t lane = 0; lane < shape_.lanes(); ++lane) {
      finished &= positions_[lane] >= lanes_[lane].begun || scan(lane, given_up, runs);
    }
    if (finished) return;
    given_up = std::chrono::steady_clock::now() >= deadline;
    std::this_thread::sleep_for(kCompletionPoll);
  }
}

/// Reads the heads of all lanes; one that the file has no more is one without records.
void TraceLanes::readHeads() {
  HeaderCopy header{};
  readAt(&header, sizeof(header), 0);
  claims_ = header.claims;
  lost_ += header.dropped - std::min(dropped_, header.dropped);
  dropped_ = std::max(dropped_, header.dropped);
  const std::size_t bytes = lanes_.size() * sizeof(LaneCopy);
  const std::size_t read = readAt(lanes_.data(), bytes, trace_file::kLanesOffset);
  std::fill(lanes_.begin() + static_cast<std::ptrdiff_t>(read / sizeof(LaneCopy)), lanes_.end(),
            LaneCopy{});
}

/// Finds the new records of a lane, up to one that is not complete; false for such a one, unless it
/// is given up.
bool TraceLanes::scan(std::uint32_t index, bool given_up, std::vector<LaneRun>& runs) {
  const LaneCopy& lane = lanes_[index];
  std::uint64_t& position = positions_[index];
  if (lane.begun < lane.base || lane.begun - lane.base > shape_.slotsOf(index)) {
    return true;  // damaged, or changed owner during the look
  }
  lost_ += lane.base - std::min(lane.base, position);
  position = std::max(lane.base, position);
  const std::size_t first_of_lane = runs.size();
  while (position < lane.begun) {
    const std::size_t count =
        static_cast<std::size_t>(std::min<std::uint64_t>(lane.begun - position, kWindowSlots));
    const std::uint64_t slot = shape_.firstSlot(index) + position - lane.base;
    const std::size_t read = readSlots(slot, count, scanned_);
    for (std::size_t i = 0; i < count; ++i, ++position) {
      const std::uint64_t complete = trace_file::completeMark(position);
      if (i < read && scanned_[i].mark == complete) {
        const Body& body = scanned_[i].body;
        add({index, position, position + 1, slot + i, wholeClaim(body.claim), body.process_id,
             body.thread_id},
            first_of_lane, runs);
      } else if (i >= read || scanned_[i].mark > complete || given_up) {
        countLost();
      } else {
        return false;
      }
    }
  }
  return true;
}

/// Adds the next record of a lane, whose runs begin at `first_of_lane`. A claim does not come back:
/// what seems to stand between two parts of one is damaged, and belongs to it.
void TraceLanes::add(const LaneRun& record, std::size_t first_of_lane,
                     std::vector<LaneRun>& runs) const {
  if (runs.size() > first_of_lane) {
    LaneRun& last = runs.back();
    if (last.end == record.first && isSameClaim(last, record)) {
      last.end = record.end;
      return;
    }
    if (runs.size() > first_of_lane + 1 && last.end == record.first) {
      LaneRun& former = runs[runs.size() - 2];
      if (former.end == last.first && isSameClaim(former, record)) {
        former.end = record.end;
        runs.pop_back();
        return;
      }
    }
  }
  runs.push_back(record);
}

/// The number of a claim that is not far from the last one.
std::uint64_t TraceLanes::wholeClaim(std::uint32_t low_half) const {
  const auto distance = static_cast<std::int32_t>(low_half - static_cast<std::uint32_t>(claims_));
  return claims_ + static_cast<std::uint64_t>(std::int64_t{distance});
}

/// Reads `count` slots from number `first` on, and returns how many of them the file has.
std::size_t TraceLanes::readSlots(std::uint64_t first, std::size_t count,
                                  std::vector<SlotCopy>& slots) {
  slots.resize(count);
  const std::uint64_t offset = trace_file::slotsOffset(shape_) + first * sizeof(SlotCopy);
  const std::size_t read = readAt(slots.data(), count * sizeof(SlotCopy), offset);
  trace_file::orderAccesses();
  return read / sizeof(SlotCopy);
}

const Body* TraceLanes::find(const LaneRun& run, std::uint64_t number) {
  Window& window = windows_[run.lane];
  const std::uint64_t slot = run.slot + (number - run.first);
  const auto place = [&window, slot] { return static_cast<std::size_t>(slot - window.slot); };
  const auto is_there = [&] {
    return slot >= window.slot && place() < window.slots.size() &&
           window.slots[place()].mark == trace_file::completeMark(number);
  };
  if (!is_there()) {
    load(window, slot,
         static_cast<std::size_t>(std::min<std::uint64_t>(run.end - number, kWindowSlots)));
  }
  return is_there() ? &window.slots[place()].body : nullptr;
}

/// Reads the slots three times: their marks, then what is in them, then their marks again.
void TraceLanes::load(Window& window, std::uint64_t slot, std::size_t count) {
  std::size_t read = count;
  for (auto* const slots : {&before_, &window.slots, &after_}) {
    read = std::min(read, readSlots(slot, count, *slots));
  }
  window.slot = slot;
  window.slots.resize(read);
  for (std::size_t i = 0; i < read; ++i) {
    const bool unchanged = before_[i].mark == after_[i].mark;
    window.slots[i].mark = unchanged ? after_[i].mark : 0;
  }
}

}  // namespace kw::platform
