// SPDX-License-Identifier: Apache-2.0
// How often and how long HAPs and rows of tables ran. One thread.
#ifndef KW_TRX_TOOLS_TRACE_STATISTICS_H_
#define KW_TRX_TOOLS_TRACE_STATISTICS_H_

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "trace/request.h"

namespace kw::trx::tools {

/// Durations of many runs.
class Durations {
 public:
  void add(std::uint64_t duration_ns);
  void add(const Durations& others);

  std::size_t count() const { return all_ns_.size(); }
  std::uint64_t sum() const { return sum_ns_; }

  /// The least duration that `percent` percent of them do not exceed, exactly: 0 the least, 50 the
  /// median, 100 the greatest. 0 when there are none.
  std::uint64_t quantile(unsigned int percent) const;

 private:
  mutable std::vector<std::uint64_t> all_ns_;  // in any order
  std::uint64_t min_ns_ = 0, max_ns_ = 0, sum_ns_ = 0;
};

/// A HAP, or a row of a table with what it does: a changed row is another one.
struct Work {
  RowId row;                         ///< its table is empty: a HAP
  Command command = Command::kNone;  ///< of a row
  std::string name;                  ///< of the HAP, or of that or the table which a row calls

  bool isHAP() const { return command == Command::kNone; }
  bool operator<(const Work& other) const {
    const int by_table = row.table.compare(other.row.table);
    return by_table != 0 ? by_table < 0
                         : std::tie(row.number, command, name) <
                               std::tie(other.row.number, other.command, other.name);
  }
};

/// A row that does this, as far as it tells.
Span spanOf(const Work& work);

/// "HAP PSU_Enable", or "row selftest/5 (HAP PSU_Enable)".
std::string textOf(const Work& work);

struct WorkFigures {
  void add(const WorkFigures& others);

  std::uint64_t calls = 0;
  std::uint64_t failures = 0;    ///< also those that a table ignored or kept
  Failure last_failure;          ///< the last of them
  std::uint64_t unfinished = 0;  ///< of `calls`: their end is not in the trace
  Durations total;               ///< from begin to end of those that ended
  /// Without what others did or held: HAPs that a HAP called, the table that a row called, the wait
  /// for the exclusion semaphore.
  Durations own;
  std::uint64_t wait_ns = 0;       ///< together, in WAIT rows, handed to the requester or not
  std::uint64_t lock_ns = 0;       ///< together, taking and holding the semaphore
  std::uint64_t lock_wait_ns = 0;  ///< thereof known to be spent waiting for other holders
};

class Statistics : public RequestListener {
 public:
  void spanEnded(const Request& request, const Span& span) override;

  using Entry = std::pair<const Work, WorkFigures>;

  const std::map<Work, WorkFigures>& all() const { return all_; }

  /// Those of HAPs, or those of rows; what took most time of its own first.
  std::vector<const Entry*> byOwnTime(bool haps) const;

  /// Runs of rows and HAPs that were left out, as records of their time are missing.
  std::uint64_t leftOut() const { return left_out_; }

 private:
  std::map<Work, WorkFigures> all_;
  std::uint64_t left_out_ = 0;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_STATISTICS_H_
