// SPDX-License-Identifier: Apache-2.0
#include "analysis/mutation.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

std::string errorText(const std::string& error) { return error.empty() ? "stop" : error; }

class Mutation {
 public:
  Mutation(const TableFlow& flow, const TableFlows& tables) : flow_(flow), tables_(tables) {
    for (const FlowRow& row : flow.rows) {
      labels_.insert(row.label);
    }
    labels_.erase("");
  }

  std::vector<Mutant> run() {
    // The first row is START, and the last one has to be an END row.
    for (std::size_t at = 1; at < flow_.rows.size(); ++at) {
      const bool is_last = at + 1 == flow_.rows.size();
      changeError(at);
      changeJump(at);
      changeCall(at);
      if (!is_last) {
        loseRow(at);
      }
      if (at + 2 < flow_.rows.size()) {
        swapWithNext(at);
      }
    }
    return std::move(mutants_);
  }

 private:
  const FlowRow& row(std::size_t at) const { return flow_.rows[at]; }

  void add(std::size_t at, const std::string& change, std::vector<FlowRow> rows) {
    mutants_.push_back({flow_.name, row(at).line(),
                        "row " + row(at).id.text(flow_.name) + ": " + change, std::move(rows)});
  }

  template <typename Edit>
  void addEdited(std::size_t at, const std::string& change, const Edit& edit) {
    std::vector<FlowRow> rows = flow_.rows;
    edit(rows);
    add(at, change, std::move(rows));
  }

  void setError(std::size_t at, const std::string& error) {
    addEdited(at, errorText(row(at).error) + " becomes " + errorText(error),
              [&](std::vector<FlowRow>& rows) { rows[at].error = error; });
  }

  void changeError(std::size_t at) {
    const std::string& error = row(at).error;
    if (row(at).command == Command::kCheck && !error.empty()) {
      setError(at, "");
    }
    for (const std::string other : {"", trx::kErrorNop, trx::kErrorStack}) {
      if (row(at).command == Command::kHAP && error != other) {
        setError(at, other);
      }
    }
    if (row(at).jump >= 0) {
      for (const std::string& label : labels_) {
        const bool is_for_check = label.find('-') != std::string::npos;
        if (label != error && (row(at).command == Command::kCheck || !is_for_check)) {
          setError(at, label);
        }
      }
    }
  }

  /// Lets it jump to the rows before and behind its own one, which get a label if they have none.
  void changeJump(std::size_t at) {
    for (const int off : {-1, 1}) {
      const int to = row(at).jump + off;
      if (row(at).jump < 0 || to < 0 || static_cast<std::size_t>(to) >= flow_.rows.size() ||
          !row(static_cast<std::size_t>(to)).label.empty()) {
        continue;  // a jump to another label is one of those above
      }
      std::string label = "mutant";
      while (labels_.count(label) != 0) {
        label += "_";
      }
      const FlowRow& target = row(static_cast<std::size_t>(to));
      addEdited(at, "jumps to row " + target.id.text(flow_.name) + " in place of " + row(at).error,
                [&](std::vector<FlowRow>& rows) {
                  rows[static_cast<std::size_t>(to)].label = label;
                  rows[at].error = label;
                });
    }
  }

  void changeCall(std::size_t at) {
    if (row(at).endsWithMessage()) {
      addEdited(at, "the message " + row(at).name + " is lost",
                [&](std::vector<FlowRow>& rows) { rows[at].name.clear(); });
    }
    for (const auto& [name, flow] : tables_) {
      if (row(at).callsTable() && name != row(at).name) {
        addEdited(at, "calls table " + name + " in place of " + row(at).name,
                  [&, to = name](std::vector<FlowRow>& rows) { rows[at].name = to; });
      }
    }
  }

  /// Jumps to a row that is lost go to the next one.
  void loseRow(std::size_t at) {
    std::vector<FlowRow> rows = flow_.rows;
    if (!rows[at].label.empty()) {
      if (!rows[at + 1].label.empty()) {
        return;
      }
      rows[at + 1].label = rows[at].label;
    }
    rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(at));
    add(at, std::string(wordOf(row(at).command)) + " is lost", std::move(rows));
  }

  void swapWithNext(std::size_t at) {
    addEdited(at, "runs behind row " + row(at + 1).id.text(flow_.name),
              [&](std::vector<FlowRow>& rows) { std::swap(rows[at], rows[at + 1]); });
  }

  const TableFlow& flow_;
  const TableFlows& tables_;
  std::set<std::string> labels_;
  std::vector<Mutant> mutants_;
};

}  // namespace

std::vector<Mutant> mutantsOf(const TableFlow& flow, const TableFlows& tables) {
  return Mutation(flow, tables).run();
}

std::string tableText(const std::vector<FlowRow>& rows) {
  std::string text = "FORMAT,0\nVERSION,1\n";
  for (const FlowRow& row : rows) {
    std::string line;
    for (const auto& [column, cell] : row.cells()) {
      line += "," + cell;
    }
    text += line.substr(1) + "\n";
  }
  return text;
}

}  // namespace kw::trx::tools
