// SPDX-License-Identifier: Apache-2.0
// What hosts do now, from their rings alone. One thread.
#ifndef KW_TRX_TOOLS_TRACE_LIVE_VIEW_H_
#define KW_TRX_TOOLS_TRACE_LIVE_VIEW_H_

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "trace/request_reader.h"
#include "trace/request_summaries.h"

namespace kw::trx::tools {

/// A request that runs or waits.
struct LiveRequest {
  Request request;
  std::optional<RowId> row;    ///< that runs
  std::string hap;             ///< that runs; empty: none does
  std::uint64_t since_ns = 0;  ///< when the innermost of these started
  /// Median of the last requests of its kind and name that have ended; 0: there is none.
  std::uint64_t usual_ns = 0;
  bool waits = false;       ///< in a WAIT row
  bool wants_lock = false;  ///< it is about to take the exclusion semaphore, or has it
  bool has_lock = false;    ///< for sure
};

struct LiveFailure {
  std::uint64_t time_ns = 0;
  std::string name, outcome;
};

/// Listens to a `RequestReader`.
class LiveView : public RequestSummaries {
 public:
  explicit LiveView(CodeMeaning meaning);
  LiveView(const LiveView&) = delete;
  LiveView& operator=(const LiveView&) = delete;
  ~LiveView() override = default;

  /// What runs by the builders of `reader`, which this listens to; the longest one first.
  std::vector<LiveRequest> running(const RequestReader& reader) const;

  /// Requests that ended in the last second before `now_ns`, and those of them that failed.
  std::pair<std::size_t, std::size_t> perSecond(std::uint64_t now_ns);

  /// The last failures, the latest first.
  const std::deque<LiveFailure>& failures() const { return failures_; }

  /// All requests that have ended, and those of them that failed.
  std::uint64_t ended() const { return ended_; }
  std::uint64_t failed() const { return failed_; }

 private:
  using Name = std::pair<Request::Kind, std::string>;

  void take(const RequestSummary& summary);
  std::uint64_t usualNs(const Request& request) const;

  const CodeMeaning meaning_;
  std::map<Name, std::deque<std::uint64_t>> durations_ns_;  // the last ones
  std::deque<std::pair<std::uint64_t, bool>> recent_;       // ends, and whether it failed
  std::deque<LiveFailure> failures_;
  std::uint64_t ended_ = 0, failed_ = 0;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_LIVE_VIEW_H_
