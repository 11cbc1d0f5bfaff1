// SPDX-License-Identifier: Apache-2.0
// A table request as its trace records tell it. Any thread.
#ifndef KW_TRX_TOOLS_REPLAY_RECORDED_REQUEST_H_
#define KW_TRX_TOOLS_REPLAY_RECORDED_REQUEST_H_

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulation/case_file.h"
#include "simulation/outcome.h"
#include "tables/traced_rows.h"

namespace kw::trx::tools {

/// A row that ran.
struct RecordedRow {
  /// What came of a failure, or of one that a CHECK row found.
  enum class Effect { kNone, kIgnored, kKept, kJumps, kStops, kInterrupts };

  TracedRow ran;
  std::string mode;    ///< of the HAP that it called
  HAPOutcome outcome;  ///< of that
  Effect effect = Effect::kNone;

  bool callsHAP() const;
  bool callsTable() const;
  /// True for a failure that the requester is told when it is the first one.
  bool countsAsFailed() const;
  /// With its table and NUMBER, such as "row rails/3".
  std::string name() const;
  /// What it does, such as "HAP PSU_Enable, mode on".
  std::string action() const;
};

struct RecordedRequest {
  std::uint32_t id = 0;
  std::vector<std::uint32_t> numbers;  ///< of its parts, which a wait at the requester divides
  std::uint32_t process_id = 0;
  std::uint64_t begin_ns = 0;
  std::string table;
  std::vector<std::string> units;  ///< paths of those that its HAPs worked on, the first ones
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
