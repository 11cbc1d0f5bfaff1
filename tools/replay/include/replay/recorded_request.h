// SPDX-License-Identifier: Apache-2.0
// A table request as its trace records tell it. Any thread.
#ifndef KW_TRX_TOOLS_REPLAY_RECORDED_REQUEST_H_
#define KW_TRX_TOOLS_REPLAY_RECORDED_REQUEST_H_

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "cases/case_file.h"
#include "simulator/outcome.h"
#include "trace/request.h"

namespace kw::trx::tools {

/// A row that ran.
struct RecordedRow {
  Span ran;
  HAPOutcome outcome;  ///< of the HAP that it called

  bool callsHAP() const { return ran.command == Command::kHAP; }
  /// True for a failure that the requester is told when it is the first one.
  bool countsAsFailed() const;
  /// With its table and NUMBER, such as "row rails/3".
  std::string name() const;
  /// What it does, such as "HAP PSU_Enable, mode on".
  std::string action() const;
};

struct RecordedRequest {
  Request request;
  std::vector<RecordedRow> rows;
  ExpectedEnd end;                 ///< without a message, which no record tells
  unsigned int nest_limit = 0;     ///< of tables, one that gives the same run
  std::vector<std::string> notes;  ///< what a simulation needs and the records do not tell

  /// The first row that failed as the requester is told it; null: none did.
  const RecordedRow* firstFailing() const;
};

/// Thrown with the reason in words for a request that cannot be replayed.
class NotReplayable : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPLAY_RECORDED_REQUEST_H_
