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

class FailureGroups {
 public:
  /// Adds a request that failed or was refused. `start_ns`: of all records.
  void add(const KeptRequestPtr& request, KeptRecords&& records, std::uint64_t start_ns);

  /// Adds one that succeeded.
  void addSuccess(const Request& request);

  /// The groups, the most frequent ones first; to be called once.
  std::vector<FailureGroup> groups();

  /// Failures of no group, as there are too many of these.
  std::uint64_t others() const { return others_; }

 private:
  /// When a request of the name of `request` last succeeded until then; 0: none did.
  std::uint64_t lastSuccessNs(const Request& request, std::uint64_t until_ns) const;

  std::map<std::string, FailureGroup> groups_;
  /// Ends of the last ones that succeeded, by kind and name.
  std::map<std::pair<Request::Kind, std::string>, std::deque<std::uint64_t>> successes_ns_;
  std::uint64_t others_ = 0;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPORT_FAILURE_GROUPS_H_
