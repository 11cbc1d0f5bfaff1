// SPDX-License-Identifier: Apache-2.0
// Rules judged by recorded requests. One thread.
#ifndef KW_TRX_TOOLS_REPLAY_RECORDED_RULES_H_
#define KW_TRX_TOOLS_REPLAY_RECORDED_RULES_H_

#include <string>
#include <vector>

#include "cases/case_file.h"
#include "replay/request_recording.h"

namespace kw::trx::tools {

/// What recorded requests of tables made of rules.
struct RecordedRules {
  struct Broken {
    std::string request, rule;
    std::string message;  ///< how
  };
  std::vector<Broken> broken;
  std::size_t judged = 0;                 ///< requests
  std::vector<std::string> not_judged;    ///< why others could not be
  std::vector<std::string> not_recorded;  ///< rules that speak of what records do not tell
  std::vector<std::string> untested;      ///< rules that no request puts to the test
};

/// Judges `rules` by all of `recorded`, with the time that passed between the starts of rows.
RecordedRules judgeRecorded(const std::vector<LineOfRule>& rules,
                            const std::vector<RequestRecording::Recorded>& recorded);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPLAY_RECORDED_RULES_H_
