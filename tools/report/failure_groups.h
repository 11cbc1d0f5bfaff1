// SPDX-License-Identifier: Apache-2.0
// Failed requests sorted by how they failed. One thread.
#ifndef KW_TRX_TOOLS_REPORT_FAILURE_GROUPS_H_
#define KW_TRX_TOOLS_REPORT_FAILURE_GROUPS_H_

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "report/report.h"

namespace kw::trx::tools {

/// What is known of the time around a failure.
struct FailureTimes {
  std::uint64_t begin_ns;        ///< of all records
  std::uint64_t well_before_ns;  ///< end of the last request of that name that had gone well when
                                 ///< the one that failed began; 0: none had
};

class FailureGroups {
 public:
  /// Takes a request that failed or was refused.
  void take(const KeptRequestPtr& request, KeptRecords&& records, const FailureTimes& times);

  /// Takes one that went well.
  void takeWell(const RequestSummary& request);

  /// When a request of that name last ended well; 0: none did.
  std::uint64_t wellNs(bool is_table, const std::string& name) const;

  /// The groups, the most frequent ones first; to be called once.
  std::vector<FailureGroup> taken();

  /// Failures of no group, as there are too many of these.
  std::uint64_t others() const { return others_; }

 private:
  std::map<std::string, FailureGroup> groups_;
  std::map<std::pair<bool, std::string>, std::uint64_t> well_ns_;
  std::uint64_t others_ = 0;
};

/// What the code of a failure means, with `meaning` for those of HAPs; empty when it has none.
std::string codeMeaningOf(const RequestFailure& failure, const CodeMeaning& meaning);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPORT_FAILURE_GROUPS_H_
