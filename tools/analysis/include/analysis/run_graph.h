// SPDX-License-Identifier: Apache-2.0
// All runs of a table: what can follow what, for every outcome of every HAP.
#ifndef KW_TRX_TOOLS_ANALYSIS_RUN_GRAPH_H_
#define KW_TRX_TOOLS_ANALYSIS_RUN_GRAPH_H_

#include <array>
#include <cstdint>
#include <map>
#include <tuple>
#include <utility>
#include <vector>

#include "analysis/program.h"

namespace kw::trx::tools {

/// What one row does in a run, from one state to the next.
struct Step {
  enum class Choice : std::uint8_t { kNone, kSuccess, kFailure };  ///< of the HAP of the row

  int to;                ///< state of the same activation, or kToReturn or kToFailure
  int callee = kAbsent;  ///< activation that runs in between
  bool mark = false;     ///< whether a STACK row has failed, afterwards
  Choice choice = Choice::kNone;
};
constexpr int kToReturn = -1;   ///< the table has ended well
constexpr int kToFailure = -2;  ///< the request has ended with error

/// One table on the stack: it behaves alike whenever it begins with the same mark and with as many
/// tables of each name below it, as far as these names can come again.
struct Activation {
  int table;
  bool mark;                        ///< when it begins
  std::vector<unsigned int> depth;  ///< of each recursive table that it can get to, itself included

  /// The steps of each state: two for each row, without and with the mark.
  std::vector<std::vector<Step>> steps;
  std::vector<bool> reached;                       ///< whether some run is in that state
  std::vector<std::pair<std::size_t, int>> calls;  ///< states with the activations they enter
  std::array<bool, 2> returns = {false, false};    ///< whether it can end well, by the mark then
  bool fails = false;                              ///< whether the request can end with error in it
  bool is_left_out = false;                        ///< it was one too many

  static std::size_t rowOf(std::size_t state) { return state / 2; }
  static bool markOf(std::size_t state) { return state % 2 != 0; }
  static int state(std::size_t row, bool mark) {
    return static_cast<int>(row * 2 + (mark ? 1 : 0));
  }
  std::size_t first() const { return mark ? 1 : 0; }
};

/// The runs of one table, or of several. Callees stand behind their callers in no order, but each
/// activation is in `callees_first` behind those that it calls.
class RunGraph {
 public:
  /// `max_states`: beyond so many, looked at or not, it enters no further activations. `program`
  /// must outlive it.
  RunGraph(const Program& program, const std::vector<int>& entries, unsigned int nest_limit,
           std::size_t max_states);

  const Program& program() const { return program_; }
  const std::vector<Activation>& activations() const { return activations_; }
  const Activation& at(int activation) const {
    return activations_[static_cast<std::size_t>(activation)];
  }
  const std::vector<int>& calleesFirst() const { return callees_first_; }
  std::size_t states() const { return states_; }
  bool isComplete() const { return is_complete_; }

  const FlowRow& rowOf(const Activation& activation, std::size_t state) const {
    return program_.rowOf(activation.table, Activation::rowOf(state));
  }

  /// The first activation: that of the request, where there is one entry.
  static constexpr int kRoot = 0;

  /// What the stack says of a call.
  bool isRefused(const Activation& caller, int callee) const;

 private:
  struct Open {
    int activation;
    std::vector<int> states;
  };

  void follow(int entry);
  int activationFor(int table, bool mark, const Activation* caller);
  /// False when a callee must be looked at first, which is then open.
  bool expand(Open& open, std::size_t state, std::vector<Open>& stack);
  void addStep(Open& open, std::size_t from, Step step);
  void expandHAP(Open& open, std::size_t state, const FlowRow& row);
  bool expandCall(Open& open, std::size_t state, std::vector<Open>& stack);

  const Program& program_;
  const unsigned int nest_limit_;
  const std::size_t max_states_;
  std::size_t states_ = 0;
  std::size_t allocated_ = 0;  // states of all activations, reached or not
  bool is_complete_ = true;
  std::vector<Activation> activations_;
  std::vector<bool> finished_;
  std::vector<int> callees_first_;
  std::map<std::tuple<int, bool, std::vector<unsigned int>>, int> known_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_RUN_GRAPH_H_
