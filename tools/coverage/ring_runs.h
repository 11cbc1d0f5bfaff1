// SPDX-License-Identifier: Apache-2.0
// What rings tell of the runs of tables, for the picture of these. One thread.
#ifndef KW_TRX_TOOLS_COVERAGE_RING_RUNS_H_
#define KW_TRX_TOOLS_COVERAGE_RING_RUNS_H_

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "coverage/row_counter.h"
#include "tables/graph.h"
#include "traces/statistics.h"

namespace kw::trx::tools {

class RingRuns {
 public:
  /// Id and number, as `SliceTracker::Place` has them.
  using Request = std::pair<std::uint32_t, std::uint32_t>;

  /// Counts what ran of `tables`, which must outlive it; with `request` in that one alone.
  RingRuns(const TableFlows& tables, const std::optional<Request>& request);
  RingRuns(const RingRuns&) = delete;
  RingRuns& operator=(const RingRuns&) = delete;
  ~RingRuns() = default;

  /// Takes the next record, in the order of time. Processes and threads of other rings are other
  /// ones. Returns its place.
  SliceTracker::Place take(const kw::platform::TraceRecord& record, std::size_t ring = 0);

  /// To be called once, after the last record.
  void finish();

  /// The counts of all rows; the notes have their figures, and their places in the order of the
  /// request.
  GraphCounts counts() const;

  /// The tables of the rows that ran, in the order of their names.
  std::vector<std::string> tables() const;

  /// A sentence for each row of `tables` that ran and is not there any more, and for each of these
  /// that is not there itself.
  std::vector<std::string> problems(const std::set<std::string>& tables) const;

  /// How many requests have begun, by id; the most in one ring.
  std::map<std::uint32_t, std::uint32_t> requests() const;

  /// In how many rings the request is.
  std::size_t ringsOfRequest() const { return rings_of_request_.size(); }

 private:
  using RowName = std::pair<std::string, std::uint32_t>;  // table and NUMBER
  /// When a row ran, as a count of the rows of the request.
  struct Turns {
    std::vector<std::uint64_t> first;
    bool has_more = false;
  };

  RowCounter& counterOf(std::size_t ring);
  bool takes(const Slice& row, std::size_t ring);
  void noteTurns(const kw::platform::TraceRecord& record, const SliceTracker::Place& place);
  void countOnward(GraphCounts& counts) const;
  std::string noteOf(const Work& work, const WorkFigures& figures) const;

  const TableFlows& tables_;
  const std::optional<Request> request_;
  Statistics statistics_;
  bool row_begins_ = false;  // with the record that is being taken
  std::map<RowName, std::uint64_t> went_on_;
  std::uint64_t turns_ = 0;
  std::map<RowName, Turns> turns_of_;
  std::set<std::size_t> rings_of_request_;
  std::map<std::size_t, RowCounter> counters_;  // by ring
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COVERAGE_RING_RUNS_H_
