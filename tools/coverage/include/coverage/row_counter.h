// SPDX-License-Identifier: Apache-2.0
// Counts the rows of tables that ran. One thread.
#ifndef KW_TRX_TOOLS_COVERAGE_ROW_COUNTER_H_
#define KW_TRX_TOOLS_COVERAGE_ROW_COUNTER_H_

#include <cstdint>
#include <map>
#include <string>

#include "coverage/coverage.h"
#include "table/row_finder.h"
#include "trace/request.h"

namespace kw::trx::tools {

class RowCounter : public RequestListener {
 public:
  /// `tables` must outlive it.
  explicit RowCounter(const TableFlows& tables);

  void spanEnded(const Request& request, const Span& span) override;

  /// What has run so far. A HAP row that did not end counts as neither success nor failure.
  const Coverage& coverage() const { return coverage_; }

  /// Rows that ran but stand in no table, by the name of theirs: other files were loaded then.
  const std::map<std::string, std::uint64_t>& unknown() const { return unknown_; }

  /// A sentence for each of those whose table has changed since.
  const std::map<RowId, std::string>& changed() const { return changed_; }

  /// Runs that were left out, as records of their time are missing.
  std::uint64_t leftOut() const { return left_out_; }

 private:
  Coverage coverage_;
  const RowFinder finder_;
  std::map<const FlowRow*, LineCoverage*> lines_;  // in `coverage_`
  std::map<std::string, std::uint64_t> unknown_;
  std::map<RowId, std::string> changed_;
  std::uint64_t left_out_ = 0;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COVERAGE_ROW_COUNTER_H_
