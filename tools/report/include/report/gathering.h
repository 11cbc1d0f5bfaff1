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
#include "report/request_keeper.h"
#include "trace/request_filter.h"
#include "trace/statistics.h"

namespace kw::trx::tools {

/// Keeps a bounded part of what rings hold.
class ReportGatherer : public RequestSummaries {
 public:
  /// `tables`: those that the records may be of. They and `filter` must outlive it.
  ReportGatherer(const TableFlows& tables, const RequestFilter& filter);
  ReportGatherer(const ReportGatherer&) = delete;
  ReportGatherer& operator=(const ReportGatherer&) = delete;
  ~ReportGatherer() override = default;

  void recordTaken(const Request& request, const kw::platform::TraceRecord& record) override;
  void requestJoined(const Request& request, std::uint64_t fresh) override;
  void spanEnded(const Request& request, const Span& span) override;
  void requestEnded(const Request& request) override;

  /// Writes into `report` what was gathered; to be called once, behind the end of all.
  void finish(Report& report);

 private:
  using ThreadId =
      std::tuple<std::size_t, std::uint32_t, std::uint32_t>;  ///< ring, process, thread

  /// What is kept of a request that runs.
  struct Running {
    std::vector<Span> spans;
    std::uint64_t spans_left_out = 0;
    KeptRecords records;
  };

  void addSummary(const RequestSummary& summary);
  void count(const Request& request);
  ThreadLane& laneOf(const Request& request, std::uint32_t thread_id);

  /// Hands what ran to the figures.
  struct Figures : RequestListener {
    explicit Figures(const TableFlows& tables) : rows(tables) {}
    void spanEnded(const Request& request, const Span& span) override;

    Statistics statistics;
    RowCounter rows;
  };

  const TableFlows& tables_;
  const RequestFilter& filter_;
  std::uint64_t start_ns_ = 0;
  std::map<std::uint64_t, Running> running_;  // by serial
  std::map<ThreadId, ThreadLane> lanes_;
  std::map<Ending, std::uint64_t> counts_;
  std::map<std::pair<Request::Kind, std::string>, NamedRequests> names_;
  std::uint64_t other_names_ = 0;
  FailureGroups failures_;
  RequestKeeper keeper_;
  Figures figures_;
  FilteredRequests filtered_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPORT_GATHERING_H_
