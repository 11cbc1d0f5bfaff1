// SPDX-License-Identifier: Apache-2.0
#include "analysis/mark_claims.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "analysis/row_claims.h"
#include "common/text.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kMaxNamed = 12;
/// Of all states together; a set for each of them can be the square of the rows.
constexpr std::size_t kMaxWords = std::size_t{1} << 22;
constexpr std::size_t kBits = 64;

using Rows = std::vector<std::uint64_t>;  // a bit for each STACK row

/// Adds `more`. True when that changes `rows`.
bool add(Rows& rows, const Rows& more) {
  bool changes = false;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    changes = changes || (more[i] & ~rows[i]) != 0;
    rows[i] |= more[i];
  }
  return changes;
}

class MarkSources {
 public:
  explicit MarkSources(const RunGraph& graph) : graph_(graph) {
    std::size_t states = 0;
    for (const Activation& at : graph.activations()) {
      states += at.steps.size() + 1;
      for (std::size_t state = 0; state < at.steps.size(); ++state) {
        if (at.reached[state] && graph.rowOf(at, state).on_failure == Effect::kKept) {
          bits_.insert({{at.table, Activation::rowOf(state)}, bits_.size()});
        }
      }
    }
    words_ = (bits_.size() + kBits - 1) / kBits;
    is_bounded_ = states * words_ <= kMaxWords;
  }

  bool isBounded() const { return is_bounded_; }

  /// The STACK rows that each reached CHECK row can find the failure of.
  std::map<RowPlace, std::set<RowPlace>> find() {
    within_.resize(graph_.activations().size());
    before_.assign(within_.size(), Rows(words_));
    after_.assign(within_.size(), Rows(words_));
    const std::vector<int>& order = graph_.calleesFirst();
    std::for_each(order.begin(), order.end(), [this](int one) { followWithin(one); });
    std::for_each(order.rbegin(), order.rend(), [this](int one) { passOn(one); });
    std::map<RowPlace, std::set<RowPlace>> found;
    for (const int activation : order) {
      const Activation& at = graph_.at(activation);
      for (std::size_t state = 1; state < at.steps.size(); state += 2) {
        if (at.reached[state] && graph_.rowOf(at, state).command == Command::kCheck) {
          addTo(found[{at.table, Activation::rowOf(state)}], activation, state);
        }
      }
    }
    return found;
  }

 private:
  /// Finds what is kept in each state since the activation began.
  void followWithin(int activation) {
    const Activation& at = graph_.at(activation);
    auto& within = within_[static_cast<std::size_t>(activation)];
    within.assign(at.steps.size(), Rows(words_));
    std::vector<std::size_t> open;
    open.reserve(at.steps.size());
    for (std::size_t state = 0; state < at.steps.size(); ++state) {
      open.push_back(state);
    }
    while (!open.empty()) {
      const std::size_t state = open.back();
      open.pop_back();
      for (const Step& step : at.steps[state]) {
        const Rows kept = keptAfter(activation, state, step);
        if (step.to == kToReturn) {
          add(after_[static_cast<std::size_t>(activation)], kept);
        } else if (step.to >= 0 && add(within[static_cast<std::size_t>(step.to)], kept)) {
          open.push_back(static_cast<std::size_t>(step.to));
        }
      }
    }
  }

  Rows keptAfter(int activation, std::size_t state, const Step& step) const {
    Rows kept = within_[static_cast<std::size_t>(activation)][state];
    const Activation& at = graph_.at(activation);
    if (step.callee != kAbsent && step.mark) {
      add(kept, after_[static_cast<std::size_t>(step.callee)]);
    }
    if (step.choice == Step::Choice::kFailure &&
        graph_.rowOf(at, state).on_failure == Effect::kKept) {
      const std::size_t bit = bits_.at({at.table, Activation::rowOf(state)});
      kept[bit / kBits] |= std::uint64_t{1} << bit % kBits;
    }
    return kept;
  }

  /// Tells the activations that this one calls what is kept before them.
  void passOn(int activation) {
    const auto at = static_cast<std::size_t>(activation);
    for (const auto& [state, callee] : graph_.at(activation).calls) {
      add(before_[static_cast<std::size_t>(callee)], before_[at]);
      add(before_[static_cast<std::size_t>(callee)], within_[at][state]);
    }
  }

  void addTo(std::set<RowPlace>& found, int activation, std::size_t state) const {
    const auto at = static_cast<std::size_t>(activation);
    for (const auto& [place, bit] : bits_) {
      const std::uint64_t mask = std::uint64_t{1} << bit % kBits;
      if (((within_[at][state][bit / kBits] | before_[at][bit / kBits]) & mask) != 0) {
        found.insert(place);
      }
    }
  }

  const RunGraph& graph_;
  std::map<RowPlace, std::size_t> bits_;
  std::size_t words_ = 0;
  bool is_bounded_ = true;
  std::vector<std::vector<Rows>> within_;  // by activation and state
  std::vector<Rows> before_, after_;       // by activation
};

}  // namespace

std::vector<Claim> markClaims(const RunGraph& graph) {
  MarkSources sources(graph);
  if (!sources.isBounded()) {
    return {{Claim::Kind::kFinds, "",
             "which failures CHECK rows find is not known: there are too many STACK rows",
             std::nullopt}};
  }
  const int entry = graph.at(RunGraph::kRoot).table;
  std::vector<Claim> claims;
  for (const auto& [check, found] : sources.find()) {
    std::vector<std::string> own;
    std::vector<std::string> others;
    for (const RowPlace& place : found) {
      (place.first == check.first ? own : others)
          .push_back(rowNameOf(graph.program(), place.first, place.second, entry));
    }
    const std::string name = rowNameOf(graph.program(), check.first, check.second, entry);
    for (const auto& [kind, rows] :
         {std::pair(Claim::Kind::kFinds, own), std::pair(Claim::Kind::kFindsOther, others)}) {
      if (!rows.empty()) {
        claims.push_back({kind, name,
                          "row " + name + " finds failures of " +
                              (rows.size() == 1 ? "row " : "rows ") + listed(rows, kMaxNamed),
                          std::nullopt});
      }
    }
  }
  return claims;
}

}  // namespace kw::trx::tools
