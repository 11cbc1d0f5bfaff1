// SPDX-License-Identifier: Apache-2.0
// Counts the runs of tables in rings, for the picture of these. One thread.
#ifndef KW_TRX_TOOLS_GRAPH_RING_RUNS_H_
#define KW_TRX_TOOLS_GRAPH_RING_RUNS_H_

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "coverage/row_counter.h"
#include "graph/graph.h"
#include "trace/statistics.h"

namespace kw::trx::tools {

class RingRuns : public RequestListener {
 public:
  /// Counts what ran of `tables`, which must outlive it. `is_way`: it is that of one request, whose
  /// rows get their places in its order.
  RingRuns(const TableFlows& tables, bool is_way);
  RingRuns(const RingRuns&) = delete;
  RingRuns& operator=(const RingRuns&) = delete;
  ~RingRuns() override = default;

  void rowStarted(const Request& request, const Span& row) override;
  void spanEnded(const Request& request, const Span& span) override;
  void requestEnded(const Request& request) override;

  /// The counts of all rows; the notes have their figures.
  GraphCounts counts() const;

  /// The tables of the rows that ran, in the order of their names.
  std::vector<std::string> tables() const;

  /// A sentence for each row of `tables` that ran and is not there any more, and for each of these
  /// that is not there itself.
  std::vector<std::string> problems(const std::set<std::string>& tables) const;

  /// The rings of the requests.
  const std::set<std::size_t>& rings() const { return rings_; }
  std::uint64_t leftOut() const { return counter_.leftOut(); }

  /// How many requests ran a row, the start of the first and the end of the last of them.
  std::uint64_t requests() const { return requests_; }
  std::uint64_t startNs() const { return start_ns_; }
  std::uint64_t endNs() const { return end_ns_; }

 private:
  void countOnward(GraphCounts& counts) const;
  std::string noteOf(const Work& work, const WorkFigures& figures) const;

  const TableFlows& tables_;
  const bool is_way_;
  Statistics statistics_;
  RowCounter counter_;
  std::map<std::uint64_t, RowId> ended_last_;  // row, by serial of its request
  std::map<RowId, std::uint64_t> went_on_;
  std::uint64_t turns_ = 0;
  /// When rows ran first, as counts of the rows of the request; one more than are shown.
  std::map<RowId, std::vector<std::uint64_t>> turns_of_;
  std::set<std::size_t> rings_;
  std::uint64_t requests_ = 0, start_ns_ = 0, end_ns_ = 0;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_GRAPH_RING_RUNS_H_
