// SPDX-License-Identifier: Apache-2.0
// What can be said of all runs of a table.
#ifndef KW_TRX_TOOLS_ANALYSIS_CLAIMS_H_
#define KW_TRX_TOOLS_ANALYSIS_CLAIMS_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "analysis/run_path.h"

namespace kw::trx::tools {

struct Claim {
  enum class Kind {
    kEndless,        ///< a run can go on for ever
    kStuck,          ///< a run gets to a row from which it cannot end any more
    kUnreached,      ///< no run gets to a row
    kSwallowed,      ///< a failure is ignored, or kept for a CHECK row that does not come
    kRecovered,      ///< a run succeeds after a failure that the table looked at
    kFinds,          ///< a CHECK row finds failures of rows of its own table
    kFindsOther,     ///< it finds those of rows of other tables
    kMessage,        ///< a run ends with error and this message
    kNestLimit,      ///< a call is refused, as its table runs too often already
    kMissing,        ///< a call gets to a table that is not there
    kFails,          ///< a run in which every HAP succeeds ends with error
    kNeverSucceeds,  ///< no run succeeds
    kCalls,          ///< min or max of HAP calls
    kWait,           ///< min or max of waiting time
    kRule,           ///< a run breaks a rule
    kUntested,       ///< no run puts a rule to the test
  };

  Kind kind;
  std::string subject;  ///< the row as TABLE/NUMBER, the message, or which bound
  std::string message;
  /// The shortest run that shows it; none: it speaks of all runs, or that run is too long.
  std::optional<RunPath> witness;
};

/// Gives claims their witnesses, as many and as long as can be looked at: the rows of all of them
/// together can be the square of those of the tables.
class Witnesses {
 public:
  /// The claim with its witness, or else with a message that says that it has none.
  Claim give(Claim claim, const std::function<RunPath()>& witness);

 private:
  static constexpr std::size_t kMaxRows = 10000000;

  std::size_t rows_left_ = kMaxRows;
};

/// The subjects of claims of bounds.
constexpr char kMin[] = "min";
constexpr char kMax[] = "max";

/// The word for a kind, as options take it.
const char* nameOf(Claim::Kind kind);
std::optional<Claim::Kind> claimKindFrom(const std::string& name);
std::vector<std::string> claimKinds();

/// An amount as far as amounts are counted.
std::string amountText(std::uint64_t amount);

/// What runs take of something.
struct Bounds {
  std::optional<std::uint64_t> min;  ///< of those that succeed; none: none does, or it is not known
  std::optional<std::uint64_t> max;  ///< of those that end; none: none does, there is no bound, or
                                     ///< it is not known
  bool is_unbounded = false;         ///< there is always one that takes more, or one without an end
};

/// What was found out of one table.
struct Exploration {
  int table;
  std::size_t states = 0;
  bool is_complete = true;  ///< false: nothing is known of further runs, and `claims` are those of
                            ///< single runs alone
  bool has_all_cycles = true;  ///< false: there may be more rows that run for ever than claimed
  Bounds calls, wait_ms;
  std::vector<Claim> claims;
  std::vector<std::vector<bool>> reached;  ///< rows, by table
};

/// Explores all runs of the table at `entry`. `max_states`: where it gives up looking at more.
Exploration explore(const Program& program, int entry, unsigned int nest_limit,
                    std::size_t max_states);

/// A claim for each row that no run of any of them gets to, of their tables and those that these
/// call. None when one of them is not complete.
std::vector<Claim> unreachedRows(const Program& program,
                                 const std::vector<Exploration>& explorations);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_CLAIMS_H_
