// SPDX-License-Identifier: Apache-2.0
#include "exploration/program.h"

#include <algorithm>
#include <set>

#include "zqm_trx/module_key.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

ProgramRow hapRow(const FlowRow& row) {
  ProgramRow out;
  out.kind = ProgramRow::Kind::kHAP;
  out.can_succeed = !trx::keyOfHAP(row.name).empty();
  out.on_failure = row.jump >= 0                   ? ProgramRow::OnFailure::kJump
                   : row.error == trx::kErrorNop   ? ProgramRow::OnFailure::kGoOn
                   : row.error == trx::kErrorStack ? ProgramRow::OnFailure::kMark
                                                   : ProgramRow::OnFailure::kStop;
  return out;
}

ProgramRow programRow(const Program& program, const FlowRow& row) {
  ProgramRow out;
  if (row.command == trx::kCommandHAP) {
    out = hapRow(row);
  } else if (row.command == trx::kCommandCheck) {
    out.kind = ProgramRow::Kind::kCheck;
  } else if (row.command == trx::kCommandWait) {
    out.wait_ms = row.wait_ms;
  } else if (row.command == trx::kCommandTable && !row.name.empty()) {
    out.kind = ProgramRow::Kind::kCall;
    out.callee = program.find(row.name);
  } else if (row.command == trx::kCommandTable || row.command == trx::kCommandEnd) {
    const bool fails = row.command == trx::kCommandEnd && !row.name.empty();
    out.kind = fails ? ProgramRow::Kind::kFail : ProgramRow::Kind::kEnd;
  }
  out.jump = row.jump;
  return out;
}

/// The tables that a run of `from` can get to.
std::vector<bool> below(const Program& program, const std::vector<std::set<int>>& calls,
                        std::size_t from) {
  std::vector<bool> seen(program.tables.size());
  std::vector<int> open(calls[from].begin(), calls[from].end());
  while (!open.empty()) {
    const auto at = static_cast<std::size_t>(open.back());
    open.pop_back();
    if (!seen[at]) {
      seen[at] = true;
      open.insert(open.end(), calls[at].begin(), calls[at].end());
    }
  }
  return seen;
}

std::vector<std::set<int>> callsOf(const Program& program) {
  std::vector<std::set<int>> calls(program.tables.size());
  for (std::size_t table = 0; table < calls.size(); ++table) {
    for (const ProgramRow& row : program.tables[table].rows) {
      if (row.callee != kAbsent) {
        calls[table].insert(row.callee);
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
    program.tables[table].is_recursive = callers[table] != 0 && below(program, calls, table)[table];
  }
  for (std::size_t table = 0; table < callers.size(); ++table) {
    const std::vector<bool> reached = below(program, calls, table);
    for (std::size_t other = 0; other < callers.size(); ++other) {
      if (program.tables[other].is_recursive && (reached[other] || other == table)) {
        program.tables[table].recursive_below.push_back(static_cast<int>(other));
      }
    }
  }
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
      table.rows.push_back(programRow(program, row));
    }
  }
  findRecursion(program);
  return program;
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
  if (entries.empty()) {
    for (std::size_t table = 0; table < calls.size(); ++table) {
      entries.push_back(static_cast<int>(table));
    }
  }
  return entries;
}

}  // namespace kw::trx::tools
