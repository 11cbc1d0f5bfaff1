// SPDX-License-Identifier: Apache-2.0
// Counts the rows of tables from the trace records of their runs.
#ifndef KW_TRX_TOOLS_COVERAGE_ROW_COUNTER_H_
#define KW_TRX_TOOLS_COVERAGE_ROW_COUNTER_H_

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "coverage/coverage.h"
#include "kw/platform.h"
#include "tables/traced_rows.h"
#include "traces/slices.h"

namespace kw::trx::tools {

class RowCounter {
 public:
  /// Asked of each run of a row when it ends: whether it counts.
  using Takes = std::function<bool(const Slice& row)>;

  /// `tables` must outlive it. Without `takes` all runs count, but not again where they go on after
  /// an interruption.
  explicit RowCounter(const TableFlows& tables, Takes takes = {});
  RowCounter(const RowCounter&) = delete;
  RowCounter& operator=(const RowCounter&) = delete;
  ~RowCounter() = default;

  /// Takes the next record of a process. At the least those of the level info are needed; a NOP row
  /// whose HAP throws is told by one of the level debug2. Returns the place of the record.
  SliceTracker::Place take(const kw::platform::TraceRecord& record);

  /// Counts what has not ended; to be called once, after the last record.
  void finish() { tracker_.finish(); }

  /// How many requests have begun, by id.
  const std::map<std::uint32_t, std::uint32_t>& requests() const { return tracker_.requests(); }

  /// What has run so far and ended. A HAP row that did not end counts as neither success nor
  /// failure.
  const Coverage& coverage() const { return coverage_; }

  /// Rows that ran but stand in no table, by the name of theirs: other files were loaded then.
  const std::map<std::string, std::uint64_t>& unknown() const { return unknown_; }

  /// A sentence for each of those whose table has changed since, by table and NUMBER.
  const std::map<std::pair<std::string, std::uint32_t>, std::string>& changed() const {
    return changed_;
  }

 private:
  /// The last rows of a thread that told more of them than their NUMBER.
  struct Told {
    TracedRow former, last;
  };

  void count(const Slice& row);
  TracedRow completed(const Slice& row) const;

  Coverage coverage_;
  const RowFinder finder_;
  const Takes takes_;
  std::map<const FlowRow*, LineCoverage*> lines_;  // in `coverage_`
  std::map<std::string, std::uint64_t> unknown_;
  std::map<std::pair<std::string, std::uint32_t>, std::string> changed_;
  std::map<std::pair<std::uint32_t, std::uint32_t>, Told> told_;  // by thread
  SliceTracker tracker_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COVERAGE_ROW_COUNTER_H_
