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
    kEndless,    ///< a run can go on for ever
    kUnreached,  ///< no run gets to a row
    kSwallowed,  ///< a failure is ignored, or kept for a CHECK row that does not come
    kRecovered,  ///< a run ends well after a failure that the table looked at
    kMessage,    ///< a run ends with error and this message
    kNestLimit,  ///< a call is refused, as its table runs too often already
    kMissing,    ///< a call gets to a table that is not there
    kFails,      ///< a run in which every HAP succeeds ends with error
    kNeverWell,  ///< no run ends well
    kCalls,      ///< least or most HAP calls
    kWait,       ///< least or most waiting time
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
  /// The claim with its witness, or else with words that say that it has none.
  Claim give(Claim claim, const std::function<RunPath()>& witness);

 private:
  static constexpr std::size_t kMaxRows = 10000000;

  std::size_t rows_left_ = kMaxRows;
};

/// The subjects of claims of bounds.
constexpr char kLeast[] = "least";
constexpr char kMost[] = "most";

/// The word for a kind, as options take it.
const char* nameOf(Claim::Kind kind);
std::optional<Claim::Kind> claimKindFrom(const std::string& name);
std::vector<std::string> claimKinds();

/// An amount as far as amounts are counted.
std::string amountText(std::uint64_t amount);

/// What runs take of something.
struct Bounds {
  std::optional<std::uint64_t> least;  ///< of those that end well; none: none does
  std::optional<std::uint64_t> most;   ///< of those that end; none: none does, or there is no bound
  bool is_unbounded = false;
};

/// What was found out of one table.
struct Exploration {
  int table;
  std::size_t states = 0;
  bool is_complete = true;  ///< false: what holds for all runs holds for those looked at alone
  Bounds calls, wait_ms;
  std::vector<Claim> claims;
  std::vector<std::vector<bool>> reached;  ///< rows, by table
};

/// Explores all runs of the table at `entry`. `most_states`: where it gives up looking at more.
Exploration explore(const Program& program, int entry, unsigned int nest_limit,
                    std::size_t max_states);

/// A claim for each row that no run of any of them gets to, of tables that one gets to.
std::vector<Claim> unreachedRows(const Program& program,
                                 const std::vector<Exploration>& explorations);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_CLAIMS_H_
