// SPDX-License-Identifier: Apache-2.0
// What the search for the faults of one table file works on, and what it has found so far.
#ifndef KW_TRX_TOOLS_LINT_FAULT_LOG_H_
#define KW_TRX_TOOLS_LINT_FAULT_LOG_H_

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "lint/patched_format.h"
#include "table/finding.h"
#include "trace/record_collector.h"

namespace kw::trx::tools {

/// More faults than anybody reads.
constexpr std::size_t kMaxFaults = 1000;

/// The faults of one file.
struct FaultLog {
  RecordCollector collector;
  std::unique_ptr<PatchedFormat> format;  ///< null: the file cannot be read
  std::vector<Finding> findings;
  bool has_more = false;  ///< than `kFaultsMax`

  /// False when no further fault is noted.
  bool hasRoom() {
    has_more = findings.size() >= kMaxFaults;
    return !has_more;
  }

  void add(unsigned int line, const std::string& column, const std::string& message,
           unsigned int id) {
    findings.push_back({true, line, column, message, id});
  }

  /// Notes a fault of a cell; `is_named`: its column has a name there.
  void addCell(unsigned int row, unsigned int column, const std::string& message, unsigned int id,
               bool is_named = true) {
    add(format->lines.lineOf(row, column), columnTitle(column, is_named), message, id);
  }
};

/// Checks a header key as the choice of the format does.
void checkKey(FaultLog& log, const std::string& key);

/// Notes the fault `id` of the header, START or END, and goes on with a table area that was
/// probably meant. False when there is none.
bool noteAreaFault(FaultLog& log, unsigned int id);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LINT_FAULT_LOG_H_
