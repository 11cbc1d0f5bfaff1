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
#include <memory>
#include <new>
#include <thread>

#include "kw/platform.h"
#include "trace_file.h"
#include "unique_fd.h"

namespace kw::platform {

namespace {

using trace_file::Body;
using trace_file::HeaderCopy;
using trace_file::SlotCopy;

constexpr int kFailed = -1;
constexpr std::size_t kWindowSlots = 64;

// A record is begun and completed within a microsecond, unless its writer is interrupted or dies.
constexpr std::chrono::milliseconds kCompletionTime{100};
constexpr std::chrono::milliseconds kCompletionPoll{1};

/// Reads exactly `bytes` at `offset`; false when the file doesn't have them.
bool readAt(int fd, void* to, std::size_t bytes, std::uint64_t offset) {
  auto* out = static_cast<unsigned char*>(to);
  while (bytes != 0) {
    const ssize_t got = pread(fd, out, bytes, static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    const auto count = static_cast<std::size_t>(got);
    out += count;
    bytes -= count;
    offset += count;
  }
  return true;
}

bool isRing(const HeaderCopy& header, std::uint64_t file_bytes) {
  const std::uint32_t slots = header.slot_count;
  return header.magic == trace_file::kMagic && header.version == trace_file::kVersion &&
         header.slot_bytes == sizeof(SlotCopy) && slots != 0 && slots <= trace_file::kMaxSlots &&
         (slots & (slots - 1)) == 0 && file_bytes == trace_file::fileBytes(slots);
}

void copyRecord(std::uint64_t number, const Body& body, TraceRecord& record) {
  record.sequence = number;
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

  struct Found {
    std::uint64_t number;
    Body body;
  };

  bool fetch();
  bool readReserved(std::uint64_t& reserved) const;
  void skipOverwritten(std::uint64_t reserved);
  bool readSlots(std::uint64_t reserved, std::size_t& count);
  void sortOut(std::size_t count);

  /// True when a writer that was given up holds the slot with this mark.
  bool isDead(std::uint64_t mark) const {
    return trace_file::isBusy(mark) && mark < trace_file::busyMark(written_off_);
  }

  UniqueFd file_;
  std::uint32_t slot_count_ = 0;
  std::uint64_t position_ = 0;     // number of the first record not looked at yet
  std::uint64_t written_off_ = 0;  // records below it have had their time to be completed
  std::uint64_t lost_ = 0;
  std::vector<Found> found_;  // complete records, handed out one by one
  std::size_t handed_out_ = 0;
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
  if (!S_ISREG(status.st_mode) || !readAt(file_.get(), &header, sizeof(header), 0) ||
      !isRing(header, static_cast<std::uint64_t>(status.st_size))) {
    errno = EINVAL;
    return kFailed;
  }
  slot_count_ = header.slot_count;
  found_.reserve(kWindowSlots);
  return 0;
}

bool RingFile::next(TraceRecord& record) {
  if (handed_out_ == found_.size() && !fetch()) return false;
  const Found& found = found_[handed_out_++];
  copyRecord(found.number, found.body, record);
  return true;
}

/// Finds complete records. A record in the middle of its writing is waited for, but not for ever,
/// as its writer may be dead; all that were begun by then have had the same time.
bool RingFile::fetch() {
  found_.clear();
  handed_out_ = 0;
  std::uint64_t begun = 0;
  Clock::time_point deadline;
  while (found_.empty()) {
    std::uint64_t reserved = 0;
    std::size_t count = 0;
    if (!readReserved(reserved) || reserved <= position_) return false;
    skipOverwritten(reserved);
    if (!readSlots(reserved, count)) return false;
    const std::uint64_t position = position_;
    sortOut(count);
    if (position_ != position) {
      begun = 0;
    } else if (begun == 0) {
      begun = reserved;
      deadline = Clock::now() + kCompletionTime;
    } else if (Clock::now() >= deadline) {
      written_off_ = begun;
    } else {
      std::this_thread::sleep_for(kCompletionPoll);
    }
  }
  return true;
}

bool RingFile::readReserved(std::uint64_t& reserved) const {
  return readAt(file_.get(), &reserved, sizeof(reserved), offsetof(HeaderCopy, reserved));
}

void RingFile::skipOverwritten(std::uint64_t reserved) {
  if (reserved - position_ <= slot_count_) return;
  lost_ += reserved - position_ - slot_count_;
  position_ = reserved - slot_count_;
}

/// Reads the slots from `position_` up to the end of the file, `reserved` or the window's size.
bool RingFile::readSlots(std::uint64_t reserved, std::size_t& count) {
  const std::uint64_t slot = position_ & (slot_count_ - 1);
  count = static_cast<std::size_t>(
      std::min({reserved - position_, slot_count_ - slot, std::uint64_t{kWindowSlots}}));
  const std::uint64_t offset = sizeof(HeaderCopy) + slot * sizeof(SlotCopy);
  for (auto* const copy : {&before_, &slots_, &after_}) {
    if (!readAt(file_.get(), copy->data(), count * sizeof(SlotCopy), offset)) return false;
    trace_file::orderAccesses();
  }
  return true;
}

/// Keeps the complete ones of the `count` slots read, up to one that may still be completed.
void RingFile::sortOut(std::size_t count) {
  for (std::size_t i = 0; i < count; ++i, ++position_) {
    const std::uint64_t complete = trace_file::completeMark(position_);
    if (before_[i].mark == complete && after_[i].mark == complete) {
      found_.push_back({position_, slots_[i].body});
    } else if (after_[i].mark > complete || position_ < written_off_ || isDead(after_[i].mark)) {
      ++lost_;
    } else {
      return;
    }
  }
}

}  // namespace

struct TraceRingReader::Impl {
  RingFile file;
};

TraceRingReader::TraceRingReader() : impl_(nullptr) {}

TraceRingReader::~TraceRingReader() { delete impl_; }

int TraceRingReader::open(const std::string& path) try {
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
  return impl_ != nullptr && impl_->file.next(record);
}

std::uint64_t TraceRingReader::lost() const { return impl_ == nullptr ? 0 : impl_->file.lost(); }

}  // namespace kw::platform
