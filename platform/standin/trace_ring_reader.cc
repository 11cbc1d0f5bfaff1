// SPDX-License-Identifier: Apache-2.0
// Reading end of a trace ring file. It reads the file instead of mapping it, so that a file that
// somebody cuts short is an end of the records and not the end of the reader.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <thread>
#include <tuple>
#include <vector>

#include "kw/platform.h"
#include "no_cancellation.h"
#include "trace_file.h"
#include "unique_fd.h"

namespace kw::platform {

namespace {

using trace_file::Body;
using trace_file::HeaderCopy;
using trace_file::LaneCopy;
using trace_file::Shape;
using trace_file::SlotCopy;

constexpr int kFailed = -1;
constexpr std::size_t kWindowSlots = 64;

// A record is begun and completed within a microsecond, unless its writer is interrupted or dies.
constexpr std::chrono::milliseconds kCompletionTime{100};
constexpr std::chrono::milliseconds kCompletionPoll{1};

/// Reads up to `bytes` at `offset`; the count is less only where the file ends or can't be read.
std::size_t readAt(int fd, void* to, std::size_t bytes, std::uint64_t offset) {
  auto* out = static_cast<unsigned char*>(to);
  std::size_t read = 0;
  while (read != bytes) {
    const ssize_t got = pread(fd, out + read, bytes - read, static_cast<off_t>(offset + read));
    if (got < 0 && errno == EINTR) continue;
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

/// A complete record and what its place in the order depends on.
struct Found {
  std::uint64_t claim;
  std::uint64_t number;  ///< in the lane
  std::uint64_t order_ns;
  Body body;
};

/// Puts the records in the order of their time, those of a thread in their own order even where the
/// clock was set back.
void sortByTime(std::vector<Found>& records) {
  std::sort(records.begin(), records.end(), [](const Found& a, const Found& b) {
    return std::tie(a.body.thread_id, a.claim, a.number) <
           std::tie(b.body.thread_id, b.claim, b.number);
  });
  const Found* former = nullptr;
  for (Found& record : records) {
    const bool follows = former != nullptr && former->body.thread_id == record.body.thread_id;
    record.order_ns = std::max(record.body.time_ns, follows ? former->order_ns : 0);
    former = &record;
  }
  std::stable_sort(records.begin(), records.end(),
                   [](const Found& a, const Found& b) { return a.order_ns < b.order_ns; });
}

std::uint64_t nowNs() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

void copyRecord(const Body& body, TraceRecord& record) {
  record.time_ns = body.time_ns;
  record.process_id = body.process_id;
  record.thread_id = body.thread_id;
  record.region = body.region;
  record.level = body.level;
  record.trace_class = body.trace_class;
  record.id = body.id;
  record.length = body.length;
  const std::size_t kept = std::min<std::size_t>(body.length, sizeof(body.data));
  record.data.assign(body.data, body.data + kept);
}

/// Follows one ring file.
class RingFile {
 public:
  int open(const std::string& path);
  bool next(TraceRecord& record);
  std::uint64_t lost() const { return lost_; }

 private:
  using Clock = std::chrono::steady_clock;

  bool fetch();
  void readLanes();
  void readFinished();
  bool readLane(std::uint32_t index);
  std::uint64_t wholeClaim(std::uint32_t low_half) const;
  std::size_t readSlots(std::uint64_t first, std::size_t count);

  UniqueFd file_;
  Shape shape_{};
  std::vector<LaneCopy> lanes_;           // their heads as last read
  std::vector<std::uint64_t> positions_;  // for each lane the first record not looked at yet
  bool given_up_ = false;                 // begun records that are not complete will never be
  std::uint64_t claims_ = 0;
  std::uint64_t dropped_ = 0;
  std::uint64_t lost_ = 0;
  std::uint64_t handed_out_ = 0;
  std::vector<Found> found_;  // in the order of their time up to `ready_`
  std::size_t next_ = 0;
  std::size_t ready_ = 0;
  // The same slots read three times: marks before the data, the data, marks after the data.
  std::array<SlotCopy, kWindowSlots> before_;
  std::array<SlotCopy, kWindowSlots> slots_;
  std::array<SlotCopy, kWindowSlots> after_;
};

int RingFile::open(const std::string& path) {
  // Not blocking, as the path may be one of a pipe.
  file_.reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file_.get() < 0) return kFailed;
  struct stat status {};
  HeaderCopy header{};
  if (fstat(file_.get(), &status) != 0) return kFailed;
  if (!S_ISREG(status.st_mode) ||
      readAt(file_.get(), &header, sizeof(header), 0) != sizeof(header) ||
      !isRing(header, static_cast<std::uint64_t>(status.st_size))) {
    errno = EINVAL;
    return kFailed;
  }
  shape_ = header.shape;
  lanes_.resize(shape_.lanes());
  positions_.resize(shape_.lanes());
  return 0;
}

bool RingFile::next(TraceRecord& record) {
  if (next_ == ready_ && !fetch()) return false;
  copyRecord(found_[next_++].body, record);
  record.sequence = handed_out_++ + lost_;
  return true;
}

/// Finds complete records. Those that are younger than the look at the lanes may have an older one
/// beside them that the look missed: they wait for the next look, unless it finds none but such,
/// as with a clock that was set back.
bool RingFile::fetch() {
  found_.erase(found_.begin(), found_.begin() + static_cast<std::ptrdiff_t>(next_));
  next_ = 0;
  for (int looks = 0; looks < 2; ++looks) {
    const std::uint64_t look_ns = nowNs();
    readLanes();
    readFinished();
    sortByTime(found_);
    const auto ready = std::find_if(found_.begin(), found_.end(), [look_ns](const Found& record) {
      return record.order_ns > look_ns;
    });
    ready_ = static_cast<std::size_t>(ready - found_.begin());
    if (ready_ != 0 || found_.empty()) break;
  }
  ready_ = ready_ == 0 ? found_.size() : ready_;
  return ready_ != 0;
}

/// Reads the heads of all lanes; one that the file has no more is one without records.
void RingFile::readLanes() {
  HeaderCopy header{};
  readAt(file_.get(), &header, sizeof(header), 0);
  claims_ = header.claims;
  lost_ += header.dropped - std::min(dropped_, header.dropped);
  dropped_ = std::max(dropped_, header.dropped);
  const std::size_t bytes = lanes_.size() * sizeof(LaneCopy);
  const std::size_t read = readAt(file_.get(), lanes_.data(), bytes, trace_file::kLanesOffset);
  std::fill(lanes_.begin() + static_cast<std::ptrdiff_t>(read / sizeof(LaneCopy)), lanes_.end(),
            LaneCopy{});
}

/// Reads all records begun before the last look at the lanes. One in the middle of its writing is
/// waited for, but not for ever, as its writer may be dead.
void RingFile::readFinished() {
  const Clock::time_point deadline = Clock::now() + kCompletionTime;
  given_up_ = false;
  for (;;) {
    bool finished = true;
    for (std::uint32_t lane = 0; lane < shape_.lanes(); ++lane) {
      finished &= positions_[lane] >= lanes_[lane].begun || readLane(lane);
    }
    if (finished) return;
    given_up_ = Clock::now() >= deadline;
    std::this_thread::sleep_for(kCompletionPoll);
  }
}

/// Reads the new records of a lane, up to one that is not complete; false for such a one.
bool RingFile::readLane(std::uint32_t index) {
  const LaneCopy& lane = lanes_[index];
  std::uint64_t& position = positions_[index];
  if (lane.begun < lane.base || lane.begun - lane.base > shape_.slotsOf(index)) {
    return true;  // damaged, or changed owner during the look
  }
  lost_ += lane.base - std::min(lane.base, position);
  position = std::max(lane.base, position);
  while (position < lane.begun) {
    const std::size_t count =
        static_cast<std::size_t>(std::min<std::uint64_t>(lane.begun - position, kWindowSlots));
    const std::size_t read = readSlots(shape_.firstSlot(index) + position - lane.base, count);
    for (std::size_t i = 0; i < count; ++i, ++position) {
      const std::uint64_t complete = trace_file::completeMark(position);
      const bool unchanged = i < read && before_[i].mark == after_[i].mark;
      if (unchanged && after_[i].mark == complete) {
        found_.push_back({wholeClaim(slots_[i].body.claim), position, 0, slots_[i].body});
      } else if (i >= read || after_[i].mark > complete || given_up_) {
        ++lost_;
      } else {
        return false;
      }
    }
  }
  return true;
}

/// The number of a claim that is not far from the last one.
std::uint64_t RingFile::wholeClaim(std::uint32_t low_half) const {
  const auto distance = static_cast<std::int32_t>(low_half - static_cast<std::uint32_t>(claims_));
  return claims_ + static_cast<std::uint64_t>(std::int64_t{distance});
}

/// Reads `count` slots from number `first` on, and returns how many of them the file has.
std::size_t RingFile::readSlots(std::uint64_t first, std::size_t count) {
  const std::uint64_t offset = trace_file::slotsOffset(shape_) + first * sizeof(SlotCopy);
  std::size_t read = count;
  for (auto* const copy : {&before_, &slots_, &after_}) {
    read = std::min(read, readAt(file_.get(), copy->data(), count * sizeof(SlotCopy), offset) /
                              sizeof(SlotCopy));
    trace_file::orderAccesses();
  }
  return read;
}

}  // namespace

struct TraceRingReader::Impl {
  RingFile file;
};

TraceRingReader::TraceRingReader() : impl_(nullptr) {}

TraceRingReader::~TraceRingReader() { delete impl_; }

int TraceRingReader::open(const std::string& path) try {
  const NoCancellation uncancelled;
  auto opened = std::make_unique<Impl>();
  if (opened->file.open(resolvePath(path)) != 0) return kFailed;
  delete impl_;
  impl_ = opened.release();
  return 0;
} catch (const std::bad_alloc&) {
  errno = ENOMEM;
  return kFailed;
}

bool TraceRingReader::next(TraceRecord& record) {
  const NoCancellation uncancelled;
  return impl_ != nullptr && impl_->file.next(record);
}

std::uint64_t TraceRingReader::lost() const { return impl_ == nullptr ? 0 : impl_->file.lost(); }

}  // namespace kw::platform
