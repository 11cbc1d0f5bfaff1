// SPDX-License-Identifier: Apache-2.0
// Makes a report of trace records. One thread.
#ifndef KW_TRX_TOOLS_REPORT_GATHERING_H_
#define KW_TRX_TOOLS_REPORT_GATHERING_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "coverage/row_counter.h"
#include "kw/platform.h"
#include "report/failure_groups.h"
#include "report/report.h"
#include "report/request_follower.h"
#include "report/request_keeper.h"
#include "traces/statistics.h"

namespace kw::trx::tools {

/// Takes records in the order of time; keeps a bounded part of what they tell.
class ReportGatherer : private RequestSink {
 public:
  /// `tables`: those that the records may tell of; they must outlive it.
  ReportGatherer(const TableFlows& tables, std::size_t rings);

  /// Takes the next record, which must not be doubtful, of the ring number `ring`, from 0.
  void take(const kw::platform::TraceRecord& record, std::size_t ring);

  /// Writes into `report` what the records told; to be called once, after the last one.
  void finish(Report& report);

 private:
  using ThreadId =
      std::tuple<std::size_t, std::uint32_t, std::uint32_t>;  ///< ring, process, thread

  /// Processes and threads of different rings are different ones.
  struct Ring {
    Ring(std::size_t number, ReportGatherer& gatherer, const std::shared_ptr<LockHistory>& lock)
        : requests(number, gatherer, lock), rows(gatherer.tables_) {}

    RequestFollower requests;
    RowCounter rows;
  };

  void takeSlice(const Slice& slice, std::size_t ring) override;
  void takeEnd(const RequestSummary& request, std::size_t ring) override;
  void takeWhole(KeptRequest&& request, KeptRecords&& records,
                 std::uint64_t well_before_ns) override;
  std::uint64_t wellNs(bool is_table, const std::string& name) const override {
    return failures_.wellNs(is_table, name);
  }
  ThreadLane& laneOf(const RequestSummary& request, std::size_t ring);

  const TableFlows& tables_;
  std::vector<std::unique_ptr<Ring>> rings_;
  std::uint64_t records_ = 0, begin_ns_ = 0, end_ns_ = 0;
  std::map<ThreadId, ThreadLane> lanes_;
  RequestCounts counts_;
  std::map<std::pair<bool, std::string>, NamedRequests> names_;
  std::uint64_t other_names_ = 0;
  FailureGroups failures_;
  RequestKeeper keeper_;
  Statistics statistics_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPORT_GATHERING_H_
