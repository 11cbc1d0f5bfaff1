// SPDX-License-Identifier: Apache-2.0
// What the HAPs of a recorded request did, for the calls of a simulated one. One thread.
#ifndef KW_TRX_TOOLS_REPLAY_RECORDED_OUTCOMES_H_
#define KW_TRX_TOOLS_REPLAY_RECORDED_OUTCOMES_H_

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "replay/recorded_request.h"
#include "simulation/simulator.h"
#include "tables/row_finder.h"

namespace kw::trx::tools {

/// Gives the calls of one run their outcomes: those of the same row and HAP in their order; for a
/// row that did not call the HAP, those of rows that do not call it any more. Beyond them the last
/// one counts again. Where none is recorded a call succeeds.
class RecordedOutcomes {
 public:
  /// `tables` are those of the run.
  RecordedOutcomes(const RecordedRequest& request, const RowFinder& tables);

  HAPOutcome choose(const HAPCall& call);

  /// What the run took for granted, a line each row.
  const std::vector<std::string>& assumed() const { return assumed_; }

 private:
  struct Calls {
    std::vector<HAPOutcome> outcomes;
    std::size_t taken = 0;
  };
  using Place = std::pair<RowId, std::string>;  // row and HAP

  void assume(const HAPCall& call, const std::string& words);

  std::map<Place, Calls> by_row_;
  std::map<std::string, Calls> by_hap_;  // of rows that do not call it any more
  std::vector<std::string> assumed_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPLAY_RECORDED_OUTCOMES_H_
