// SPDX-License-Identifier: Apache-2.0
#include "commands/step_dialogue.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "cases/case_file.h"
#include "command_line/text_output.h"
#include "common/text.h"

namespace kw::trx::tools {
namespace {

constexpr char kHelp[] =
    "Enter: the next row; c: the next break, or the end; for the next HAP o: succeed,\n"
    "f [CODE [WORD...]]: fail, t [CODE]: throw; q: stop the run";

/// The rows of a label or of what `patternFrom` takes.
CallPattern breakFrom(const std::string& text, const std::string& table, const TableFlows& tables) {
  const std::size_t slash = text.rfind('/');
  const std::string in = slash == std::string::npos ? table : text.substr(0, slash);
  const std::string label = slash == std::string::npos ? text : text.substr(slash + 1);
  if (const auto found = tables.find(in); found != tables.end()) {
    for (const FlowRow& row : found->second.rows) {
      if (!label.empty() && row.label == label) {
        return {"", in, row.id.number};
      }
    }
  }
  return patternFrom(text, table, tables);
}

}  // namespace

StepDialogue::StepDialogue(const std::vector<std::string>& breaks, const std::string& table,
                           const TableFlows& tables)
    : tables_(tables), steps_(breaks.empty()) {
  for (const std::string& text : breaks) {
    breaks_.push_back(breakFrom(text, table, tables));
  }
}

void StepDialogue::stopAt(const RowEvent& row) {
  noteRow(row);
  if (steps_ || isBreak(row)) {
    steps_ = true;
    printContext(*row.context);
    ask();
  }
}

void StepDialogue::noteRow(const RowEvent& row) {
  stack_.resize(std::max<std::size_t>(1, row.tables));
  stack_.back() = {row.table, row.number};
}

bool StepDialogue::isBreak(const RowEvent& row) const {
  HAPCall call{{row.table, row.number}, 0, "", "", "", {}};
  for (const FlowRow& known : tables_.at(row.table).rows) {
    call.hap = known.id.number == row.number ? known.name : call.hap;
  }
  return std::any_of(breaks_.begin(), breaks_.end(),
                     [&call](const CallPattern& where) { return where.matches(call); });
}

void StepDialogue::printContext(const trx::TRXInfo& info) const {
  std::string way;
  for (const RowId& frame : stack_) {
    way += (way.empty() ? "" : " > ") + frame.text();
  }
  const std::string failing = info.error.errTableName.empty()
                                  ? "none"
                                  : RowId{info.error.errTableName, info.error.errCmdNumber}.text();
  std::cout << paint(Colour::kGrey, "  at " + way + "; a failure is kept for CHECK: " +
                                        (info.isTblCmdErrStack() ? "yes" : "no") +
                                        "; first failing row: " + failing)
            << '\n';
}

void StepDialogue::ask() {
  for (std::string answer;;) {
    std::cout << "step> " << std::flush;
    if (!std::getline(std::cin, answer)) {
      std::cout << "(no more input: the run goes on)\n";
      steps_ = false;
      breaks_.clear();
      return;
    }
    if (isatty(STDIN_FILENO) == 0) {
      std::cout << answer << '\n';  // as a terminal would have shown it
    }
    if (!obey(answer)) {
      std::cout << kHelp << '\n';
    } else if (answer.empty() || answer == "c" || answer == "q") {
      return;
    }
  }
}

bool StepDialogue::obey(const std::string& answer) {
  if (answer.empty()) {
    return true;
  }
  if (answer == "c") {
    steps_ = false;
    return true;
  }
  if (answer == "q") {
    steps_ = false;
    Simulator::stop();
    return true;
  }
  const std::string rest = answer.substr(1);
  const std::optional<HAPOutcome> outcome =
      answer == "o"                                          ? outcomeFrom("ok")
      : answer[0] == 'f' && (rest.empty() || rest[0] == ' ') ? outcomeFrom("fail" + rest)
      : answer[0] == 't' && (rest.empty() || rest[0] == ' ') ? outcomeFrom("throw" + rest)
                                                             : std::nullopt;
  next_ = outcome ? outcome : next_;
  if (outcome) {
    std::cout << "the next HAP: " << textOf(*outcome) << '\n';
  }
  return outcome.has_value();
}

std::optional<HAPOutcome> StepDialogue::chosen() {
  std::optional<HAPOutcome> outcome = next_;
  next_.reset();
  return outcome;
}

}  // namespace kw::trx::tools
