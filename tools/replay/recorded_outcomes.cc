// SPDX-License-Identifier: Apache-2.0
#include "replay/recorded_outcomes.h"

#include <algorithm>

#include "traces/request_summaries.h"

namespace kw::trx::tools {

RecordedOutcomes::RecordedOutcomes(const RecordedRequest& request, const RowFinder& tables) {
  for (const RecordedRow& row : request.rows) {
    if (row.callsHAP()) {
      const std::string& hap = row.ran.name;
      (tables.find(row.ran).is_same ? by_row_[{row.ran.row, hap}] : by_hap_[hap])
          .outcomes.push_back(row.outcome);
    }
  }
}

HAPOutcome RecordedOutcomes::choose(const HAPCall& call) {
  const auto row = by_row_.find({{call.table, call.number}, call.hap});
  const auto hap = by_hap_.find(call.hap);
  if (row == by_row_.end() && hap == by_hap_.end()) {
    assume(call, "is not recorded here: it succeeds");
    return {};
  }
  Calls& calls = row != by_row_.end() ? row->second : hap->second;
  if (calls.taken == calls.outcomes.size()) {
    assume(call, "is called more often than recorded: it does again what it did last, " +
                     textOf(calls.outcomes.back()));
    return calls.outcomes.back();
  }
  if (row == by_row_.end()) {
    assume(call, "does what it did in the row that called it");
  }
  return calls.outcomes[calls.taken++];
}

void RecordedOutcomes::assume(const HAPCall& call, const std::string& words) {
  const std::string line =
      rowText(RowId{call.table, call.number}) + ": HAP " + call.hap + " " + words;
  if (std::find(assumed_.begin(), assumed_.end(), line) == assumed_.end()) {
    assumed_.push_back(line);
  }
}

}  // namespace kw::trx::tools
