// SPDX-License-Identifier: Apache-2.0
// One run of a table, row by row, and how it is put together from the steps chosen for it.
#ifndef KW_TRX_TOOLS_ANALYSIS_RUN_PATH_H_
#define KW_TRX_TOOLS_ANALYSIS_RUN_PATH_H_

#include <array>
#include <vector>

#include "analysis/run_graph.h"

namespace kw::trx::tools {

/// Where a part of a run is to get to.
enum class Goal {
  kReturnUnmarked,  ///< its table ends well, and no STACK row has failed
  kReturnMarked,    ///< its table ends well, and one has
  kFailure,         ///< the request ends with error
  kQuietReturn,     ///< its table ends well without a CHECK row on the way, with the mark set
  kSeenReturn,      ///< its table ends well after a CHECK row that found the mark
};
constexpr std::size_t kGoals = 5;

constexpr std::size_t indexOf(Goal goal) { return static_cast<std::size_t>(goal); }
constexpr Goal returnWith(bool mark) { return mark ? Goal::kReturnMarked : Goal::kReturnUnmarked; }

/// For one activation: which of its steps each state takes on its way to a goal; kAbsent: there is
/// no such way. For `kSeenReturn`, which changes to `kReturnMarked` once a CHECK row has found the
/// mark, it is made by `chosenSeen`.
using ChosenSteps = std::array<std::vector<int>, kGoals>;

/// The step at the place `nth`; `here`: a CHECK row finds the mark in it.
constexpr int chosenSeen(int nth, bool here) { return nth * 2 + (here ? 1 : 0); }

/// One row of a run.
struct PathRow {
  std::int32_t table;
  std::uint32_t row;
  Step::Choice choice;  ///< of a HAP
};

/// The rows of a run, and from where on they repeat for ever. One of more rows than a simulation
/// runs by itself is cut off: nobody reads it, and it may have 2 to the power of the number of
/// tables.
struct RunPath {
  std::vector<PathRow> rows;
  std::size_t repeats_from = kEnds;
  bool is_cut = false;

  static constexpr std::size_t kMaxRows = 100000;

  static constexpr std::size_t kEnds = static_cast<std::size_t>(-1);
  bool isEndless() const { return repeats_from != kEnds; }
};

/// Writes the rows of parts of a run.
class PathWriter {
 public:
  /// Both must outlive it. `chosen`: by activation.
  PathWriter(const RunGraph& graph, const std::vector<ChosenSteps>& chosen)
      : graph_(graph), chosen_(chosen) {}

  /// From a state to a goal, which must be one that it can get to. Tables may be nested as deeply
  /// as states can be looked at, so it does not call itself.
  void writeToGoal(RunPath& path, int activation, std::size_t state, Goal goal) const;

  /// One step, with all that it calls; `goal`: of the whole.
  void writeStep(RunPath& path, int activation, std::size_t state, const Step& step,
                 Goal goal) const;

  /// The row alone.
  void writeRow(RunPath& path, int activation, std::size_t state, Step::Choice choice) const;

 private:
  const RunGraph& graph_;
  const std::vector<ChosenSteps>& chosen_;
};

/// What the callee of a step must get to when the whole is to get to `goal`; of `kSeenReturn`, when
/// the mark is found later.
Goal goalOfCallee(const Step& step, Goal goal);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_RUN_PATH_H_
