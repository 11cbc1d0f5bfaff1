// SPDX-License-Identifier: Apache-2.0
#include "analysis/row_cycles.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "common/text.h"

namespace kw::trx::tools {
namespace {

/// How many rows are looked at on the ways back to jumps, of which a large table has too many.
constexpr std::size_t kMaxSteps = 4000000;
constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

using Stretches = std::vector<RowCycle::Stretch>;

/// What rows can do next while CHECK finds no failure, or always one: a failure that is kept stays.
struct NextRows {
  std::vector<bool> goes_on;      ///< to the next row
  std::vector<std::size_t> jump;  ///< where to; `kNowhere`: the row does not jump

  bool operator<(const NextRows& other) const {
    return std::tie(goes_on, jump) < std::tie(other.goes_on, other.jump);
  }
};

std::optional<std::size_t> stepTo(const Activation& activation, std::size_t state, int to) {
  const std::vector<Step>& steps = activation.steps[state];
  const auto found =
      std::find_if(steps.begin(), steps.end(), [to](const Step& step) { return step.to == to; });
  return found == steps.end() ? std::nullopt
                              : std::make_optional(static_cast<std::size_t>(found - steps.begin()));
}

NextRows nextRowsOf(const RunGraph& graph, const Activation& activation, bool mark) {
  const std::size_t rows = activation.steps.size() / 2;
  NextRows next{std::vector<bool>(rows), std::vector<std::size_t>(rows, kNowhere)};
  for (std::size_t row = 0; row < rows; ++row) {
    const auto state = static_cast<std::size_t>(Activation::state(row, mark));
    const int jump = graph.rowOf(activation, state).jump;
    next.goes_on[row] = stepTo(activation, state, Activation::state(row + 1, mark)).has_value();
    if (jump >= 0 &&
        stepTo(activation, state, Activation::state(static_cast<std::size_t>(jump), mark))) {
      next.jump[row] = static_cast<std::size_t>(jump);
    }
  }
  return next;
}

/// The way that leads from one row to another, where `before` has the row before each.
Stretches wayAlong(const std::vector<std::size_t>& before, std::size_t from, std::size_t to) {
  Stretches way = {{to, to}};
  for (std::size_t at = to; at != from; at = before[at]) {
    if (before[at] + 1 == at) {
      way.back().first = before[at];
    } else {
      way.emplace_back(before[at], before[at]);
    }
  }
  std::reverse(way.begin(), way.end());
  return way;
}

/// Finds the cycles of one table.
class CycleFinder {
 public:
  CycleFinder(const NextRows& next, std::size_t& steps)
      : next_(next),
        steps_(steps),
        stops_(next.jump.size() + 1),
        before_(next.jump.size(), kNowhere) {
    for (std::size_t at = 0; at < next.jump.size(); ++at) {
      stops_[at + 1] = stops_[at] + (next.goes_on[at] ? 0 : 1);
    }
  }

  std::vector<Stretches> find() {
    std::vector<Stretches> found;
    for (std::size_t at = 0; at < next_.jump.size(); ++at) {
      const std::size_t back = next_.jump[at];
      if (back > at) {
        continue;
      }
      if (stops_[back] == stops_[at]) {
        found.push_back({{back, at}});
      }
      const Stretches shortest = shortestWay(back, at);
      if (!shortest.empty()) {
        found.push_back(shortest);
      }
    }
    return found;
  }

 private:
  /// The way from one row to another over the fewest rows; empty when there is none, or when too
  /// many were looked at.
  Stretches shortestWay(std::size_t from, std::size_t to) {
    std::vector<std::size_t> met = {from};
    before_[from] = from;
    for (std::size_t i = 0; i < met.size() && before_[to] == kNowhere; ++i) {
      if (++steps_ > kMaxSteps) {
        break;
      }
      const std::size_t at = met[i];
      for (const std::size_t next : {next_.goes_on[at] ? at + 1 : kNowhere, next_.jump[at]}) {
        if (next != kNowhere && before_[next] == kNowhere) {
          before_[next] = at;
          met.push_back(next);
        }
      }
    }
    Stretches way = before_[to] == kNowhere ? Stretches() : wayAlong(before_, from, to);
    for (const std::size_t at : met) {
      before_[at] = kNowhere;
    }
    return way;
  }

  const NextRows& next_;
  std::size_t& steps_;
  std::vector<std::size_t> stops_;   // how many rows before each never go on to the next one
  std::vector<std::size_t> before_;  // on a way, the row before each
};

std::string numberOf(const FlowRow& row) { return row.number.empty() ? "0" : row.number; }

/// "row 5", "rows 2 to 5 and 9".
std::string rowsText(const std::vector<std::string>& rows, bool is_one, std::size_t max_listed) {
  return (is_one ? "row " : "rows ") + listed(rows, max_listed);
}

/// The same cycle, from its first row on.
RowCycle fromFirstRow(RowCycle cycle) {
  Stretches& stretches = cycle.stretches;
  std::rotate(stretches.begin(), std::min_element(stretches.begin(), stretches.end()),
              stretches.end());
  cycle.mark = false;
  return cycle;
}

}  // namespace

bool RowCycle::operator<(const RowCycle& other) const {
  return std::make_tuple(table, jump(), mark, stretches) <
         std::make_tuple(other.table, other.jump(), other.mark, other.stretches);
}

RowCycles rowCyclesOf(const RunGraph& graph) {
  std::size_t steps = 0;
  std::set<std::tuple<int, bool, NextRows>> looked_at;
  std::set<RowCycle> known;
  RowCycles cycles;
  for (const bool mark : {false, true}) {
    for (const Activation& activation : graph.activations()) {
      NextRows next = nextRowsOf(graph, activation, mark);
      const auto [added, is_new] = looked_at.insert({activation.table, mark, std::move(next)});
      if (!is_new) {
        continue;
      }
      for (Stretches& stretches : CycleFinder(std::get<NextRows>(*added), steps).find()) {
        const RowCycle cycle{activation.table, mark, std::move(stretches)};
        if (known.insert(fromFirstRow(cycle)).second) {
          cycles.found.push_back(cycle);
        }
      }
    }
  }
  std::stable_sort(cycles.found.begin(), cycles.found.end(),
                   [](const RowCycle& a, const RowCycle& b) {
                     return std::make_tuple(a.mark, a.table, a.jump()) <
                            std::make_tuple(b.mark, b.table, b.jump());
                   });
  cycles.is_complete = graph.isComplete() && steps < kMaxSteps;
  return cycles;
}

std::string cycleText(const RowCycle& cycle, const Program& program, std::size_t max_listed,
                      const std::string& prefix) {
  std::vector<std::string> stretches;
  std::vector<std::string> failing;
  bool is_checked = false;
  for (const auto& [first, last] : cycle.stretches) {
    const FlowRow& end = program.rowOf(cycle.table, last);
    const std::string from = prefix + numberOf(program.rowOf(cycle.table, first));
    const std::string to = prefix + numberOf(end);
    if (last > first + 1) {
      stretches.push_back(std::string(from).append(" to ").append(to));
    } else {
      if (last != first) {
        stretches.push_back(from);
      }
      stretches.push_back(to);
    }
    if (end.command == Command::kCheck) {
      is_checked = true;
    } else {
      failing.push_back(to);
    }
  }
  const auto& [first, last] = cycle.stretches[0];
  const bool is_row = cycle.stretches.size() == 1 && first == last;
  const bool is_one = failing.size() == 1;
  std::string message = rowsText(stretches, is_row, max_listed) + (is_row ? " runs" : " run") +
                        " for ever" + (is_checked ? " once a failure is kept for CHECK" : "");
  if (is_row && is_one) {
    message += " when it fails each time";
  } else if (!failing.empty()) {
    message += (is_checked ? " and " : " when ") + rowsText(failing, is_one, max_listed) +
               " alone " + (is_one ? "fails" : "fail") + " each time";
  }
  return message;
}

std::vector<std::pair<std::size_t, std::size_t>> stepsOf(const RowCycle& cycle,
                                                         const Activation& activation) {
  std::vector<std::pair<std::size_t, std::size_t>> steps;
  for (std::size_t i = 0; i < cycle.stretches.size(); ++i) {
    const auto& [first, last] = cycle.stretches[i];
    const std::size_t behind = cycle.stretches[(i + 1) % cycle.stretches.size()].first;
    for (std::size_t row = first; row <= last; ++row) {
      const auto state = static_cast<std::size_t>(Activation::state(row, cycle.mark));
      const auto nth =
          stepTo(activation, state, Activation::state(row == last ? behind : row + 1, cycle.mark));
      if (!nth) {
        return {};
      }
      steps.emplace_back(state, *nth);
    }
  }
  return steps;
}

}  // namespace kw::trx::tools
