// SPDX-License-Identifier: Apache-2.0
// The table requests of one id among the records of all threads. One thread.
#ifndef KW_TRX_TOOLS_REPLAY_REQUEST_RECORDS_H_
#define KW_TRX_TOOLS_REPLAY_REQUEST_RECORDS_H_

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "kw/platform.h"
#include "replay/recorded_request.h"
#include "replay/request_part.h"
#include "traces/slices.h"

namespace kw::trx::tools {

/// Takes records one after the other and keeps what those of the id tell.
class RequestRecords {
 public:
  explicit RequestRecords(std::uint32_t id);

  /// Takes the next record; a doubtful one begins, tells and ends nothing.
  void take(const kw::platform::TraceRecord& record);

  /// The request with a `number` among those of its id, its parts before and behind waits at the
  /// requester included; 0: the only one there is. To be called behind the last record. Throws
  /// `NotReplayable`.
  RecordedRequest request(std::uint32_t number);

  /// How many records were doubtful.
  std::uint64_t doubtful() const { return doubtful_; }

 private:
  using Thread = std::pair<std::uint32_t, std::uint32_t>;

  void noteDamage(const kw::platform::TraceRecord& record);
  void noteLost(const kw::platform::TraceRecord& record);
  void beginHAP(const kw::platform::TraceRecord& record);
  void beginTable(const kw::platform::TraceRecord& record, const SliceTracker::Place& place);
  void joinFormer(std::uint32_t number);
  void endRow(const Slice& slice);
  std::uint32_t onlyOne() const;
  RecordedRequest join(std::uint32_t first) const;
  void check(const RequestPart& part, std::uint32_t number) const;
  void addEnd(const RequestPart& last, RecordedRequest& request) const;
  std::string nameOf(std::uint32_t number) const;

  const std::uint32_t id_;
  std::map<std::uint32_t, RequestPart> parts_;  // by number
  std::map<std::uint32_t, std::string> haps_;   // requests of HAPs, by number
  std::map<Thread, std::uint32_t> running_;     // number of the part
  std::map<Thread, std::string> begun_haps_;    // whose id is not known yet
  std::uint64_t doubtful_ = 0, next_sequence_ = 0;
  SliceTracker tracker_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPLAY_REQUEST_RECORDS_H_
