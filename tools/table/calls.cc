// SPDX-License-Identifier: Apache-2.0
#include "table/calls.h"

#include <utility>

#include "common/closure.h"

namespace kw::trx::tools {
namespace {

/// Follows the runs of all tables at once. A row behind the call of a table waits until that one is
/// known to end, so each row is looked at once.
class EndFinder {
 public:
  EndFinder(const TableFlows& flows, bool with_messages)
      : flows_(flows), with_messages_(with_messages) {}

  /// The tables that never get to an END row, or to one without a message.
  std::set<std::string> endless() {
    for (const auto& [name, flow] : flows_) {
      runs_[name].resize(flow.rows.size());
      endless_.insert(name);
      open_.emplace_back(&flow, 0);
    }
    while (!open_.empty()) {
      const auto [flow, at] = open_.back();
      open_.pop_back();
      take(*flow, at);
    }
    return endless_;
  }

 private:
  using Place = std::pair<const TableFlow*, std::size_t>;

  void take(const TableFlow& flow, std::size_t at) {
    std::vector<bool>& seen = runs_[flow.name];
    if (seen[at] || endless_.count(flow.name) == 0) {
      return;
    }
    seen[at] = true;
    const FlowRow& row = flow.rows[at];
    if (row.endsTable()) {
      if (with_messages_ || !row.endsWithMessage()) {
        noteEnd(flow.name);
      }
    } else if (row.command == Command::kTable && endless_.count(row.name) != 0) {
      waiting_[row.name].emplace_back(&flow, at);
    } else {
      goOn(flow, at);
    }
  }

  void noteEnd(const std::string& name) {
    endless_.erase(name);
    for (const auto& [flow, at] : std::exchange(waiting_[name], {})) {
      goOn(*flow, at);
    }
  }

  void goOn(const TableFlow& flow, std::size_t at) {
    for (const std::size_t next : flow.followers(at, true)) {
      open_.emplace_back(&flow, next);
    }
  }

  const TableFlows& flows_;
  const bool with_messages_;
  std::map<std::string, std::vector<bool>> runs_;  // the rows seen of each table
  std::map<std::string, std::vector<Place>> waiting_;
  std::set<std::string> endless_;
  std::vector<Place> open_;
};

using Names = std::map<std::string, std::vector<std::string>>;

/// Adds to `names` all that `next` leads to from them.
void spread(const Names& next, std::set<std::string>& names) {
  names = closureOf(std::vector<std::string>(names.begin(), names.end()),
                    [&next](const std::string& name) {
                      const auto found = next.find(name);
                      return found == next.end() ? std::vector<std::string>() : found->second;
                    });
}

/// Finds the tables that leave or find a failure kept for CHECK: those with a HAP row of mode STACK
/// and their callers leave one, and all that these call may find it.
void findKeeping(const TableFlows& flows, Calls& calls) {
  Names callers;
  Names called;
  for (const auto& [name, flow] : flows) {
    for (const FlowRow& row : flow.rows) {
      if (row.on_failure == Effect::kKept) {
        calls.kept_after.insert(name);
      } else if (row.command == Command::kTable) {
        callers[row.name].push_back(name);
        called[name].push_back(row.name);
      }
    }
  }
  spread(callers, calls.kept_after);
  for (const std::string& name : calls.kept_after) {
    calls.kept_before.insert(called[name].begin(), called[name].end());
  }
  spread(called, calls.kept_before);
}

}  // namespace

Calls callsOf(const TableFlows& flows) {
  Calls calls{EndFinder(flows, true).endless(), EndFinder(flows, false).endless(), {}, {}};
  findKeeping(flows, calls);
  return calls;
}

}  // namespace kw::trx::tools
