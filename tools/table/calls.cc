// SPDX-License-Identifier: Apache-2.0
#include "table/calls.h"

#include <utility>

namespace kw::trx::tools {
namespace {

/// Follows the runs of all tables at once. A row behind the call of a table waits until that one is
/// known to end, so each row is looked at once.
class EndFinder {
 public:
  explicit EndFinder(const TableFlows& flows) : flows_(flows) {}

  std::set<std::string> find() {
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
      noteEnd(flow.name);
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
  std::map<std::string, std::vector<bool>> runs_;  // the rows seen of each table
  std::map<std::string, std::vector<Place>> waiting_;
  std::set<std::string> endless_;
  std::vector<Place> open_;
};

}  // namespace

std::set<std::string> endlessTables(const TableFlows& flows) { return EndFinder(flows).find(); }

}  // namespace kw::trx::tools
