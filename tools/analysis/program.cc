// SPDX-License-Identifier: Apache-2.0
#include "analysis/program.h"

#include <algorithm>
#include <map>
#include <set>

#include "common/closure.h"

namespace kw::trx::tools {
namespace {

/// The tables that a run of `from` can get to: itself only when it calls itself.
std::set<int> below(const std::vector<std::set<int>>& calls, std::size_t from) {
  return closureOf(std::vector<int>(calls[from].begin(), calls[from].end()),
                   [&calls](int table) { return calls[static_cast<std::size_t>(table)]; });
}
std::vector<std::set<int>> callsOf(const Program& program) {
  std::vector<std::set<int>> calls(program.tables.size());
  for (std::size_t table = 0; table < calls.size(); ++table) {
    for (const int callee : program.tables[table].callees) {
      if (callee != kAbsent) {
        calls[table].insert(callee);
      }
    }
  }
  return calls;
}

/// Finds which tables call themselves. Only those of a circle of calls are looked at from each of
/// them: what is called from outside of circles alone is left out first.
void findRecursion(Program& program) {
  const std::vector<std::set<int>> calls = callsOf(program);
  std::vector<std::size_t> uncalled;
  std::vector<int> callers(program.tables.size());
  for (const std::set<int>& callees : calls) {
    for (const int callee : callees) {
      ++callers[static_cast<std::size_t>(callee)];
    }
  }
  for (std::size_t table = 0; table < callers.size(); ++table) {
    if (callers[table] == 0) {
      uncalled.push_back(table);
    }
  }
  for (std::size_t done = 0; done < uncalled.size(); ++done) {
    for (const int callee : calls[uncalled[done]]) {
      if (--callers[static_cast<std::size_t>(callee)] == 0) {
        uncalled.push_back(static_cast<std::size_t>(callee));
      }
    }
  }
  if (uncalled.size() == program.tables.size()) {
    return;  // no circle
  }
  for (std::size_t table = 0; table < callers.size(); ++table) {
    program.tables[table].is_recursive =
        callers[table] != 0 && below(calls, table).count(static_cast<int>(table)) != 0;
  }
  for (std::size_t table = 0; table < callers.size(); ++table) {
    std::set<int> reached = below(calls, table);
    reached.insert(static_cast<int>(table));
    for (const int other : reached) {
      if (program.tables[static_cast<std::size_t>(other)].is_recursive) {
        program.tables[table].recursive_below.push_back(other);
      }
    }
  }
}

/// The tables of circles that no table outside of them calls; `others` are in none.
std::vector<int> uncalledCircles(const std::vector<std::set<int>>& calls,
                                 const std::set<int>& others) {
  std::map<int, std::set<int>> below_of;
  for (std::size_t table = 0; table < calls.size(); ++table) {
    if (others.count(static_cast<int>(table)) == 0) {
      below_of[static_cast<int>(table)] = below(calls, table);
    }
  }
  std::vector<int> tables;
  for (const auto& [table, own] : below_of) {
    const auto calls_it_alone = [&, called = table, &own = own](const auto& caller) {
      return caller.second.count(called) != 0 && own.count(caller.first) == 0;
    };
    if (std::none_of(below_of.begin(), below_of.end(), calls_it_alone)) {
      tables.push_back(table);
    }
  }
  return tables;
}

}  // namespace

int Program::find(const std::string& name) const {
  const auto found = std::lower_bound(tables.begin(), tables.end(), name,
                                      [](const ProgramTable& table, const std::string& wanted) {
                                        return table.flow->name < wanted;
                                      });
  return found == tables.end() || found->flow->name != name
             ? kAbsent
             : static_cast<int>(found - tables.begin());
}

Program programOf(const TableFlows& flows) {
  Program program;
  for (const auto& [name, flow] : flows) {  // in the order of their names
    program.tables.push_back({&flow, {}, false, {}});
  }
  for (ProgramTable& table : program.tables) {
    for (const FlowRow& row : table.flow->rows) {
      table.callees.push_back(row.callsTable() ? program.find(row.name) : kAbsent);
    }
  }
  findRecursion(program);
  return program;
}

std::set<int> withCallees(const Program& program, const std::vector<int>& tables) {
  return closureOf(tables, [&program](int table) {
    std::vector<int> callees = program.tables[static_cast<std::size_t>(table)].callees;
    callees.erase(std::remove(callees.begin(), callees.end(), kAbsent), callees.end());
    return callees;
  });
}

std::vector<int> entriesOf(const Program& program) {
  const std::vector<std::set<int>> calls = callsOf(program);
  std::vector<bool> is_called(calls.size());
  for (std::size_t caller = 0; caller < calls.size(); ++caller) {
    for (const int callee : calls[caller]) {
      const auto called = static_cast<std::size_t>(callee);
      is_called[called] = is_called[called] || called != caller;
    }
  }
  std::vector<int> entries;
  for (std::size_t table = 0; table < calls.size(); ++table) {
    if (!is_called[table]) {
      entries.push_back(static_cast<int>(table));
    }
  }
  const std::vector<int> in_circles = uncalledCircles(calls, withCallees(program, entries));
  entries.insert(entries.end(), in_circles.begin(), in_circles.end());
  std::sort(entries.begin(), entries.end());
  return entries;
}

}  // namespace kw::trx::tools
