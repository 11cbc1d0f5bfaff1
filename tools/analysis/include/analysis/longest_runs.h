// SPDX-License-Identifier: Apache-2.0
// The longest runs of a table that end.
#ifndef KW_TRX_TOOLS_ANALYSIS_LONGEST_RUNS_H_
#define KW_TRX_TOOLS_ANALYSIS_LONGEST_RUNS_H_

#include <array>
#include <cstdint>
#include <vector>

#include "analysis/measure.h"
#include "analysis/run_path.h"

namespace kw::trx::tools {

/// Lengths beside those of runs.
constexpr std::int64_t kNoRun = -1;
constexpr std::int64_t kNoBound = std::int64_t{1} << 60;

class LongestRuns {
 public:
  /// `graph` must outlive it.
  LongestRuns(const RunGraph& graph, Measure measure);

  /// Of whole requests, `kMostAmount` being that or more: `kNoRun` when none gets to the goal,
  /// `kNoBound` when there is always a longer one. Not for `Goal::kQuietReturn`.
  std::int64_t ofRequest(Goal goal) const {
    return toGoal(RunGraph::kRoot, graph_.at(RunGraph::kRoot).first(), goal);
  }

  /// Whether a run can go on for ever and take more and more of the measure, or has an end, but
  /// always one behind that of another.
  bool isUnbounded() const { return is_unbounded_; }

  /// The run of that length, when there is a longest one.
  RunPath pathOfRequest(Goal goal) const;

 private:
  using Component = std::vector<std::size_t>;

  std::int64_t toGoal(int activation, std::size_t state, Goal goal) const {
    return after_[static_cast<std::size_t>(activation)][indexOf(goal)][state];
  }
  std::int64_t lengthOfStep(int activation, std::size_t state, const Step& step, Goal goal) const;
  std::int64_t throughStep(int activation, std::size_t state, const Step& step, Goal goal) const;
  void measureComponent(int activation, const Component& component,
                        const std::vector<bool>& is_inside, Goal goal);
  bool grows(int activation, const Component& component, const std::vector<bool>& is_inside) const;
  void chooseWithin(int activation, const Component& component, Goal goal);

  const RunGraph& graph_;
  const Measure measure_;
  bool is_unbounded_ = false;
  std::vector<ChosenSteps> chosen_;
  std::vector<std::array<std::vector<std::int64_t>, kGoals>> after_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_LONGEST_RUNS_H_
