// SPDX-License-Identifier: Apache-2.0
// The records of each thread in their order, and those of all threads in the order of their time;
// docs/trace-ring.md tells the model.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <queue>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kw/ring_reader.h"
#include "no_cancellation.h"
#include "trace_file.h"
#include "trace_lanes.h"

namespace kw::platform {

namespace {

using trace_file::Body;

constexpr int kFailed = -1;

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

/// The records of one thread that were found and not handed out yet.
class ThreadRecords {
 public:
  /// Adds a run of this thread; `sortRuns` must follow before the next step.
  void add(const LaneRun& run) { runs_.push_back(run); }
  /// Puts the runs that are not begun in their order.
  void sortRuns();

  /// Goes to the next record that can still be read; false when there is none.
  bool step(TraceLanes& lanes);

  const Body& body() const { return body_; }
  /// True when the ring says something else around the record than the record does.
  bool isDoubtful() const { return doubtful_; }
  /// Time by which the record is ordered: not before that of the former one, even where the clock
  /// was set back.
  std::uint64_t orderNs() const { return order_ns_; }

 private:
  void judge(const LaneRun& run, const Body* next);

  std::vector<LaneRun> runs_;
  std::size_t run_ = 0;       // the one that the next record is looked for in
  std::uint64_t number_ = 0;  // of that record; not above `first` for a run that is not begun
  Body body_{};
  bool doubtful_ = false;
  std::uint64_t order_ns_ = 0;
  std::uint64_t time_ns_ = 0;  // of the last record whose time is not doubtful
};

void ThreadRecords::sortRuns() {
  const bool begun = run_ < runs_.size() && number_ > runs_[run_].first;
  std::sort(runs_.begin() + static_cast<std::ptrdiff_t>(run_ + (begun ? 1 : 0)), runs_.end(),
            [](const LaneRun& a, const LaneRun& b) {
              return std::tie(a.claim, a.first) < std::tie(b.claim, b.first);
            });
}

bool ThreadRecords::step(TraceLanes& lanes) {
  for (; run_ < runs_.size(); ++run_, number_ = 0) {
    const LaneRun& run = runs_[run_];
    number_ = std::max(number_, run.first);
    while (number_ < run.end) {
      const Body* const found = lanes.find(run, number_++);
      if (found == nullptr) {
        lanes.countLost();
        continue;
      }
      body_ = *found;
      judge(run, number_ < run.end ? lanes.find(run, number_) : nullptr);
      return true;
    }
  }
  return false;
}

/// A time that is not between those of the records around it, which are in order, is none.
void ThreadRecords::judge(const LaneRun& run, const Body* next) {
  const std::uint64_t time_ns = body_.time_ns;
  const bool out_of_order = next != nullptr && time_ns_ != 0 && time_ns_ <= next->time_ns &&
                            (time_ns < time_ns_ || time_ns > next->time_ns);
  doubtful_ = out_of_order || !run.isOf(body_);
  time_ns_ = out_of_order ? time_ns_ : time_ns;
  order_ns_ = std::max(order_ns_, time_ns_);
}

}  // namespace

/// Follows one ring file.
class RingReader::File {
 public:
  int open(const std::string& path) { return lanes_.open(path); }
  bool next(TraceRecord& record);
  std::uint64_t lost() const { return lanes_.lost(); }
  int error() const { return lanes_.error(); }
  RingWriters writers() const { return lanes_.writers(); }

 private:
  using Threads = std::unordered_map<std::uint32_t, ThreadRecords>;
  /// Order of the next record of a thread, and the thread; of records with the same time the one
  /// of the lower thread comes first.
  struct Turn {
    std::uint64_t order_ns;
    Threads::value_type* thread;

    bool operator>(const Turn& other) const {
      return std::tie(order_ns, thread->first) > std::tie(other.order_ns, other.thread->first);
    }
  };

  bool isReady() const { return !turns_.empty() && turns_.top().order_ns <= until_ns_; }
  bool fetch();
  void takeTurn(Threads::value_type& thread);

  TraceLanes lanes_;
  Threads threads_;  // those that have a record
  std::priority_queue<Turn, std::vector<Turn>, std::greater<>> turns_;
  std::uint64_t until_ns_ = 0;  // younger records wait for the next look
  std::uint64_t handed_out_ = 0;
};

bool RingReader::File::next(TraceRecord& record) {
  if ((!isReady() && !fetch()) || lanes_.error() != 0) return false;
  Threads::value_type& thread = *turns_.top().thread;
  turns_.pop();
  copyRecord(thread.second.body(), record);
  record.doubtful = thread.second.isDoubtful();
  record.sequence = handed_out_++ + lost();
  takeTurn(thread);
  return true;
}

/// Finds complete records. Those that are younger than the look at the lanes may have an older one
/// beside them that the look missed: they wait for the next look, unless it finds none but such,
/// as with a clock that was set back.
bool RingReader::File::fetch() {
  for (int looks = 0; looks < 2 && !isReady(); ++looks) {
    until_ns_ = nowNs();
    std::vector<LaneRun> runs;
    lanes_.look(runs);
    std::vector<Threads::value_type*> waiting;  // threads without a turn
    for (const LaneRun& run : runs) {
      const auto [thread, is_new] = threads_.try_emplace(run.thread_id);
      thread->second.add(run);
      if (is_new) waiting.push_back(&*thread);
    }
    for (auto& thread : threads_) thread.second.sortRuns();
    for (Threads::value_type* const thread : waiting) takeTurn(*thread);
    if (turns_.empty()) return false;
  }
  if (!isReady()) until_ns_ = std::numeric_limits<std::uint64_t>::max();
  return true;
}

void RingReader::File::takeTurn(Threads::value_type& thread) {
  if (thread.second.step(lanes_)) {
    turns_.push({thread.second.orderNs(), &thread});
  } else {
    threads_.erase(thread.first);
  }
}

RingReader::RingReader() = default;
RingReader::~RingReader() = default;

int RingReader::open(const std::string& path) try {
  const NoCancellation uncancelled;
  auto opened = std::make_unique<File>();
  if (opened->open(path) != 0) return kFailed;
  file_ = std::move(opened);
  return 0;
} catch (const std::bad_alloc&) {
  errno = ENOMEM;
  return kFailed;
}

bool RingReader::next(TraceRecord& record) {
  const NoCancellation uncancelled;
  return file_ != nullptr && file_->next(record);
}

int RingReader::error() const { return file_ == nullptr ? 0 : file_->error(); }

RingWriters RingReader::writers() const {
  return file_ == nullptr ? RingWriters{} : file_->writers();
}

std::uint64_t RingReader::lost() const { return file_ == nullptr ? 0 : file_->lost(); }

}  // namespace kw::platform
