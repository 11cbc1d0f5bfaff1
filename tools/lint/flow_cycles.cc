// SPDX-License-Identifier: Apache-2.0
#include "lint/flow_cycles.h"

#include <algorithm>
#include <set>

namespace kw::trx::tools {
namespace {

/// How many rows are looked at on the ways back to jumps, of which a large table has too many.
constexpr std::size_t kMaxSteps = 4000000;
constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

/// The way that leads from one row to another, where `before` has the row before each.
Cycle wayAlong(const std::vector<std::size_t>& before, std::size_t from, std::size_t to) {
  Cycle way = {{to, to}};
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

/// Finds cycles while CHECK finds no failure, or always one: a failure that is kept stays.
class CycleFinder {
 public:
  CycleFinder(const TableFlow& flow, const Calls& calls, bool is_failure_kept)
      : flow_(flow),
        is_kept_(is_failure_kept),
        reached_(flow.rows.size()),
        stops_(flow.rows.size() + 1),
        before_(flow.rows.size(), kNowhere) {
    for (std::size_t at = 0; at < flow.rows.size(); ++at) {
      const FlowRow& row = flow.rows[at];
      const bool is_stop = row.endsTable() || (is_kept_ && row.command == Command::kCheck) ||
                           (row.command == Command::kTable && calls.no_way_on.count(row.name));
      stops_[at + 1] = stops_[at] + (is_stop ? 1 : 0);
    }
  }

  /// Takes the places `starts` for reached, and all that can follow them.
  void reach(std::vector<std::size_t> starts) {
    while (!starts.empty()) {
      const std::size_t at = starts.back();
      starts.pop_back();
      if (at != kNowhere && !reached_[at]) {
        reached_[at] = true;
        starts.push_back(goesOn(at) ? at + 1 : kNowhere);
        starts.push_back(jumpOf(at));
      }
    }
  }

  /// The places behind reached rows that may leave a failure for CHECK.
  std::vector<std::size_t> placesWithFailure(const Calls& calls) const {
    std::vector<std::size_t> places;
    for (std::size_t at = 0; at < flow_.rows.size(); ++at) {
      const FlowRow& row = flow_.rows[at];
      const bool keeps = row.on_failure == Effect::kKept ||
                         (row.command == Command::kTable && calls.kept_after.count(row.name) != 0);
      if (reached_[at] && keeps && goesOn(at)) {
        places.push_back(at + 1);
      }
    }
    return places;
  }

  /// Adds to `cycles` those that it does not hold.
  void addTo(Cycles& cycles, std::set<Cycle>& known) {
    for (std::size_t at = 0; at < flow_.rows.size(); ++at) {
      const std::size_t back = jumpOf(at);
      if (back > at) {
        continue;
      }
      if (stops_[back] == stops_[at]) {
        add({{back, at}}, cycles, known);
      }
      const Cycle shortest = shortestWay(back, at);
      if (!shortest.empty()) {
        add(shortest, cycles, known);
      }
    }
    cycles.is_complete = cycles.is_complete && steps_ < kMaxSteps;
  }

 private:
  static void add(const Cycle& cycle, Cycles& cycles, std::set<Cycle>& known) {
    Cycle from_least = cycle;
    std::rotate(from_least.begin(), std::min_element(from_least.begin(), from_least.end()),
                from_least.end());
    if (known.insert(from_least).second) {
      cycles.found.push_back(cycle);
    }
  }

  bool goesOn(std::size_t at) const { return stops_[at] == stops_[at + 1]; }

  /// Where the row jumps to; `kNowhere` when it does not.
  std::size_t jumpOf(std::size_t at) const {
    const FlowRow& row = flow_.rows[at];
    const bool jumps =
        reached_[at] && row.jump >= 0 && (is_kept_ || row.command != Command::kCheck);
    return jumps ? static_cast<std::size_t>(row.jump) : kNowhere;
  }

  /// The way from one row to another over the fewest rows; empty when there is none, or when too
  /// many were looked at.
  Cycle shortestWay(std::size_t from, std::size_t to) {
    std::vector<std::size_t> met = {from};
    before_[from] = from;
    for (std::size_t i = 0; i < met.size() && before_[to] == kNowhere; ++i) {
      if (++steps_ > kMaxSteps) {
        break;
      }
      const std::size_t at = met[i];
      for (const std::size_t next : {goesOn(at) ? at + 1 : kNowhere, jumpOf(at)}) {
        if (next != kNowhere && before_[next] == kNowhere) {
          before_[next] = at;
          met.push_back(next);
        }
      }
    }
    Cycle way = before_[to] == kNowhere ? Cycle() : wayAlong(before_, from, to);
    for (const std::size_t at : met) {
      before_[at] = kNowhere;
    }
    return way;
  }

  const TableFlow& flow_;
  const bool is_kept_;
  std::vector<bool> reached_;
  std::vector<std::size_t> stops_;   // how many rows before each never go on to the next one
  std::vector<std::size_t> before_;  // on a way, the row before each
  std::size_t steps_ = 0;
};

}  // namespace

Cycles cyclesOf(const TableFlow& flow, const Calls& calls) {
  Cycles cycles;
  std::set<Cycle> known;
  CycleFinder without(flow, calls, false);
  without.reach({0});
  without.addTo(cycles, known);
  CycleFinder with(flow, calls, true);
  with.reach(without.placesWithFailure(calls));
  if (calls.kept_before.count(flow.name) != 0) {
    with.reach({0});
  }
  with.addTo(cycles, known);
  return cycles;
}

}  // namespace kw::trx::tools
