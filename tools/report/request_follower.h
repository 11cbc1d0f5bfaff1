// SPDX-License-Identifier: Apache-2.0
// Puts together what the records of one ring tell of each request. One thread.
#ifndef KW_TRX_TOOLS_REPORT_REQUEST_FOLLOWER_H_
#define KW_TRX_TOOLS_REPORT_REQUEST_FOLLOWER_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kw/platform.h"
#include "report/report.h"
#include "traces/request_summaries.h"
#include "traces/slices.h"

namespace kw::trx::tools {

/// Takes what a follower finds out.
class RequestSink {
 public:
  virtual ~RequestSink() = default;

  virtual void takeSlice(const Slice& slice, std::size_t ring) = 0;

  /// The end of a request is known.
  virtual void takeEnd(const RequestSummary& request, std::size_t ring) = 0;

  /// The same request with all that is kept of it. `well_before_ns`: as in `FailureTimes`.
  virtual void takeWhole(KeptRequest&& request, KeptRecords&& records,
                         std::uint64_t well_before_ns) = 0;

  /// When a request of that name last ended well; 0: none did.
  virtual std::uint64_t wellNs(bool is_table, const std::string& name) const = 0;
};

class RequestFollower {
 public:
  /// `ring` is told with all that is found out; `sink` must outlive this. Followers of rings of one
  /// machine share `lock`.
  RequestFollower(std::size_t ring, RequestSink& sink, const std::shared_ptr<LockHistory>& lock);

  RequestFollower(const RequestFollower&) = delete;
  RequestFollower& operator=(const RequestFollower&) = delete;

  /// Takes the next record of the ring, which must not be doubtful.
  void take(const kw::platform::TraceRecord& record);

  /// Hands on what has no end.
  void finish();

  std::size_t threads() const { return threads_.size(); }

 private:
  /// What a thread has told of its request.
  struct Thread {
    KeptRecords records;
    std::vector<Slice> slices;
    std::uint64_t slices_left_out = 0;
    std::uint64_t well_before_ns = 0;
    /// The request has ended, but its slices may not have.
    std::optional<RequestSummary> ended;
  };

  void noteSlice(const Slice& slice);
  void noteEnd(const RequestSummary& request);
  void close(Thread& thread);

  const std::size_t ring_;
  RequestSink& sink_;
  const kw::platform::TraceRecord* record_ = nullptr;                  ///< being taken
  std::map<std::pair<std::uint32_t, std::uint32_t>, Thread> threads_;  ///< by process and thread
  SliceTracker tracker_;
  RequestSummaries summaries_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPORT_REQUEST_FOLLOWER_H_
