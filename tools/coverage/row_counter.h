// SPDX-License-Identifier: Apache-2.0
// Counts the rows of tables from the trace records of their runs.
#ifndef KW_TRX_TOOLS_COVERAGE_ROW_COUNTER_H_
#define KW_TRX_TOOLS_COVERAGE_ROW_COUNTER_H_

#include <cstdint>
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
  /// `tables` must outlive it.
  explicit RowCounter(const TableFlows& tables);

  /// Takes the next record of a process. At the least those of the level info are needed; a NOP row
  /// whose HAP throws is told by one of the level debug2.
  void take(const kw::platform::TraceRecord& record);

  /// What has run so far. A HAP row that has not ended counts as neither success nor failure.
  const Coverage& coverage() const { return coverage_; }

  /// Rows that ran but stand in no table, by the name of theirs: other files were loaded then.
  const std::map<std::string, std::uint64_t>& unknown() const { return unknown_; }

 private:
  /// The HAP or CHECK row that a thread runs.
  struct Pending {
    const FlowRow* row = nullptr;
    LineCoverage* line = nullptr;
    bool failed = false;
  };

  void begin(Pending& pending, const kw::platform::TraceRecord& record,
             const SliceTracker::Place& place);
  static void settle(Pending& pending);
  static void noteFailure(Pending& pending, const kw::platform::TraceRecord& record);

  Coverage coverage_;
  const RowFinder finder_;
  std::map<const FlowRow*, LineCoverage*> lines_;  // in `coverage_`
  std::map<std::string, std::uint64_t> unknown_;
  SliceTracker tracker_;
  std::map<std::pair<std::uint32_t, std::uint32_t>, Pending> threads_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COVERAGE_ROW_COUNTER_H_
