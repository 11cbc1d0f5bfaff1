// SPDX-License-Identifier: Apache-2.0
// The shortest runs through each row of a table and of those that it calls.
#ifndef KW_TRX_TOOLS_ANALYSIS_SHORTEST_RUNS_H_
#define KW_TRX_TOOLS_ANALYSIS_SHORTEST_RUNS_H_

#include <array>
#include <cstdint>
#include <limits>
#include <vector>

#include "analysis/measure.h"
#include "analysis/run_path.h"

namespace kw::trx::tools {

/// A length that no run has.
constexpr std::uint64_t kNoLength = std::numeric_limits<std::uint64_t>::max() / 8;

/// The length of one run behind another.
std::uint64_t lengthOfBoth(std::uint64_t one, std::uint64_t other);

class ShortestRuns {
 public:
  /// `graph` must outlive it.
  ShortestRuns(const RunGraph& graph, Measure measure);

  /// Of runs from a state to a goal within its activation.
  std::uint64_t toGoal(int activation, std::size_t state, Goal goal) const {
    return after_[static_cast<std::size_t>(activation)][indexOf(goal)][state];
  }
  /// How much of its measure a run of that length takes; `kMostAmount`: that, or more.
  static std::uint64_t amountOf(std::uint64_t length);
  /// Of whole requests.
  std::uint64_t ofRequest(Goal goal) const {
    return toGoal(RunGraph::kRoot, graph_.at(RunGraph::kRoot).first(), goal);
  }

  /// Which CHECK rows come behind a step: any; none; or one that finds a mark.
  enum class Checks { kAny, kNone, kFinding };

  /// Of whole runs that get to a state, take `step` there and end well.
  std::uint64_t throughStep(int activation, std::size_t state, const Step& step,
                            Checks checks) const;

  /// Of runs as far as a state.
  std::uint64_t upTo(int activation, std::size_t state) const;

  /// Those runs.
  RunPath pathOfRequest(Goal goal) const;
  RunPath pathThroughStep(int activation, std::size_t state, const Step& step, Checks checks) const;
  RunPath pathUpTo(int activation, std::size_t state) const;

  PathWriter writer() const { return PathWriter(graph_, chosen_); }

 private:
  /// The call through which an activation is entered in the shortest run around it, by the goal of
  /// the activation: what comes behind it is part of that run, but for a failure. For `kSeenReturn`
  /// a CHECK row behind the activation finds its mark.
  struct Caller {
    std::uint64_t length = kNoLength;  ///< of the run before and after the activation
    int activation = kAbsent;          ///< kAbsent: it is the request itself
    std::size_t state = 0;
    int to = kAbsent;                     ///< where the caller goes on
    Goal goal = Goal::kReturnUnmarked;    ///< of the caller then
    Goal around = Goal::kReturnUnmarked;  ///< of the callers around that one
  };

  /// What comes behind a step, around its activation included.
  struct Rest {
    std::uint64_t length;
    Goal goal;    ///< of the activation
    Goal around;  ///< of those around it
  };

  /// How a state was got to within its activation.
  struct Origin {
    int state = kAbsent;
    int step = kAbsent;
  };

  /// The last choice on the way to a goal.
  struct LastStep {
    std::size_t state;
    int chosen;
    std::uint64_t length;
  };

  bool isOnWay(int activation, std::size_t state, Goal goal) const;
  std::vector<LastStep> lastSteps(int activation, Goal goal) const;
  void addFindingSteps(int activation, std::size_t state, std::vector<LastStep>& last) const;
  void measureBackwards(int activation, Goal goal);
  void measureForwards(int activation);
  void measureCallers(int activation);
  void offer(int callee, Goal goal, const Caller& caller);
  std::uint64_t lengthOfStep(int activation, std::size_t state, const Step& step, Goal goal) const;
  std::uint64_t weight(int activation, std::size_t state) const;
  const Caller& callerOf(int activation, Goal goal) const {
    return callers_[static_cast<std::size_t>(activation)][indexOf(goal)];
  }
  Rest restTo(int activation, int to, Goal goal, Goal around) const;
  Rest restAfter(int activation, int to, Checks checks) const;
  void writeWithin(RunPath& path, int activation, std::size_t state) const;

  /// Writes the run around an activation; `inner` writes what is within it.
  template <typename Inner>
  void writeAround(RunPath& path, int activation, Goal goal, const Inner& inner) const;

  const RunGraph& graph_;
  const Measure measure_;
  std::vector<ChosenSteps> chosen_;
  std::vector<std::array<std::vector<std::uint64_t>, kGoals>> after_;
  std::vector<std::vector<std::uint64_t>> before_;
  std::vector<std::vector<Origin>> origins_;
  std::vector<std::array<Caller, kGoals>> callers_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_SHORTEST_RUNS_H_
