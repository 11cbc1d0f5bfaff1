// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>
#include <stdexcept>

#include "cases/case_run.h"
#include "command_line/command_line.h"
#include "command_line/text_output.h"
#include "commands/run_json.h"
#include "commands/run_output.h"
#include "commands/step_dialogue.h"
#include "common/json.h"
#include "common/text.h"
#include "engine/units.h"
#include "simulator/rules.h"
#include "table/named_files.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kMaxRows = 1000000000;
constexpr double kMsPerSecond = 1000;

struct SimulateOptions {
  std::vector<std::string> files;
  std::string table;
  std::vector<std::string> units;
  std::vector<std::string> failing;
  std::vector<std::string> throwing;
  std::size_t max_rows = SimulationRequest().max_rows;
  std::string case_file, case_name;
  bool step = false;
  std::vector<std::string> breaks;
  std::size_t nest_limit = kTableNestLimit;
  bool json = false;
};

/// The rule written as WHERE[:CALL][=CODE...] for a run of `table`; `what` is the word of its
/// outcome.
OutcomeRule ruleFrom(const std::string& text, const std::string& what, const std::string& table,
                     const TableFlows& tables) {
  const std::size_t code = text.find('=');
  std::string where = text.substr(0, code);
  const std::string words = code == std::string::npos ? what : what + " " + text.substr(code + 1);
  const std::optional<HAPOutcome> outcome = outcomeFrom(words);
  if (!outcome) {
    throw std::invalid_argument("'" + words + "' is not " + kOutcomeForms);
  }
  OutcomeRule rule{{}, *outcome};
  const std::size_t call = where.rfind(':');
  if (call != std::string::npos) {
    const std::string nth = where.substr(call + 1);
    rule.first = rule.last = decimalNumber(nth).value_or(0);
    if (rule.first == 0) {
      throw std::invalid_argument("'" + nth + "' counts no call: the first one is 1");
    }
    where.resize(call);
  }
  rule.where = callPatternFrom(where, table, tables);
  return rule;
}

std::vector<OutcomeRule> rulesOf(const SimulateOptions& options, const std::string& table,
                                 const TableFlows& tables) {
  std::vector<OutcomeRule> rules;
  for (const std::string& text : options.failing) {
    rules.push_back(ruleFrom(text, "fail", table, tables));
  }
  for (const std::string& text : options.throwing) {
    rules.push_back(ruleFrom(text, "throw", table, tables));
  }
  return rules;
}

void printJson(const std::string& table, const SimulatedRun& run) {
  JsonWriter json(2);
  startOutput("simulate", json);
  json.member("table", table).member("ending", run.failure.empty() ? "succeeded" : "failed");
  json.member("message", endText(run));
  if (!run.failure.empty() && run.code != 0) {
    json.member("exception", hexText(run.code));
  }
  json.key("waitMs").number(run.wait_ms);
  write(run.record.first_failing, json.key("firstFailingRow"));
  json.key("rows").beginArray();
  for (const RowId& row : run.rows) {
    write(row, json);
  }
  json.endArray().key("calls").beginArray();
  for (const HAPCall& call : run.calls) {
    write(call.row, json.beginObject().key("row"));
    json.member("hap", call.hap).member("mode", call.mode).member("para", call.para);
    json.member("outcome", textOf(call.outcome)).endObject();
  }
  json.endArray().endObject();
  std::cout << json.taken() << '\n';
}

void printEnd(const std::string& table, const SimulatedRun& run, std::size_t max_rows) {
  std::cout << "table " << table;
  if (run.failure.empty()) {
    std::cout << paint(Colour::kGreen, " succeeded");
  } else if (run.is_stopped) {
    std::cout << paint(Colour::kRed, " did not end") << ": stopped after " << run.rows.size()
              << (run.rows.size() < max_rows ? " rows" : " rows; see --max-rows");
  } else {
    std::cout << paint(Colour::kRed, " failed") << " with " << run.failure;
  }
  std::cout << (run.wait_ms == 0 ? ""
                                 : "; waits of " + std::to_string(run.wait_ms) + " ms, not waited")
            << '\n';
  if (!run.failure.empty()) {
    printFailure(run.record, run.reason);
  }
}

/// The case that the options name. Throws in words when there is no such one.
TableCase caseOf(SimulateOptions& options) {
  const CaseFile file = readCaseFile(options.case_file);
  if (!file.findings.empty()) {
    throw std::invalid_argument(options.case_file + ": " + file.findings[0].message +
                                "; see trxctl check");
  }
  options.files = options.files.empty() ? file.tables : options.files;
  options.nest_limit = file.nest_limit;
  std::vector<std::string> names;
  for (const TableCase& one : file.cases) {
    if (one.name == options.case_name || (options.case_name.empty() && file.cases.size() == 1)) {
      return one;
    }
    names.push_back("'" + one.name + "'");
  }
  throw std::invalid_argument(options.case_file + " has the cases " + listed(names) +
                              "; say which with --name");
}

/// Prints the run as it goes, and stops it where it is to be stopped.
void follow(SimulationRequest& request, std::uint64_t& waited_ms, StepDialogue* dialogue) {
  request.on_event = [&waited_ms, dialogue](const RowEvent& event) {
    printRow(static_cast<double>(waited_ms) / kMsPerSecond, event);
    waited_ms += event.wait_ms;
    if (dialogue != nullptr && event.is_row) {
      dialogue->stopAt(event);
    }
  };
}

int simulate(SimulateOptions options) {
  options.files = namedFiles(options.files);
  TableCase one;
  if (!options.case_file.empty()) {
    one = caseOf(options);
  } else if (options.files.empty()) {
    throw UsageError("TABLE is required, or a case with --case");
  } else {
    addCalledTables(options.files);
  }
  const Simulator simulator(options.files, static_cast<unsigned int>(options.nest_limit));
  const std::string table = !options.table.empty() ? options.table
                            : !one.table.empty()   ? one.table
                                                   : tableNameOf(options.files[0]);
  std::vector<std::string> names;
  for (const auto& [name, flow] : simulator.tables()) {
    names.push_back(name);
  }
  if (simulator.tables().count(table) == 0) {
    return fail("there is no table '" + table + "' in the files" + tableHint(table, names));
  }
  std::vector<OutcomeRule> rules = one.outcomes;
  for (const OutcomeRule& rule : rulesOf(options, table, simulator.tables())) {
    rules.push_back(rule);
  }
  OutcomePlan plan(rules);
  std::unique_ptr<StepDialogue> dialogue;
  if (options.step || !options.breaks.empty()) {
    dialogue = std::make_unique<StepDialogue>(
        options.step ? std::vector<std::string>() : options.breaks, table, simulator.tables());
  }
  SimulationRequest request;
  request.table = table;
  request.units = options.units.empty() ? one.units : options.units;
  request.max_rows = options.max_rows;
  request.choose = [&](const HAPCall& call) {
    const HAPOutcome planned = plan.choose(call);
    return dialogue == nullptr ? planned : dialogue->chosen().value_or(planned);
  };
  std::uint64_t waited_ms = 0;
  if (!options.json) {
    follow(request, waited_ms, dialogue.get());
  }
  const SimulatedRun run = simulator.run(request);
  if (options.json) {
    printJson(table, run);
  } else {
    printEnd(table, run, options.max_rows);
  }
  return run.failure.empty() ? kExitOk : kExitFindings;
}

void describeSimulate(CommandOptions& command) {
  auto options = std::make_shared<SimulateOptions>();
  command.texts(options->files,
                {"TABLE", "Table files, or names of configured tables; the first one is run"});
  command.text(options->table, {"--table", "Run this table instead", "NAME"});
  command.texts(options->units, {"--unit",
                                 "A unit to work on, such as 300:2:rack/rail2",
                                 "TYPE:NO[:PATH]",
                                 {},
                                 false,
                                 unitProblem});
  command.texts(options->failing, {"--fail", "Let this fail", "WHERE[:N][=CODE]"});
  command.texts(options->throwing, {"--throw", "Let this throw an exception", "WHERE[:N][=CODE]"});
  command.number(options->max_rows, {"--max-rows", "Stop after so many rows", "COUNT"}, 1,
                 kMaxRows);
  command.number(options->nest_limit, {"--max-nesting", "As haptable.nest.exec.limit", "COUNT"}, 0,
                 kMaxNestLimit);
  command.text(options->case_file, {"--case", "Run a case of this file, with its tables", "FILE"});
  command.text(options->case_name, {"--name", "The case, when the file has several", "CASE"});
  command.flag(options->step,
               {"--step", "Stop at each row, show where the run is and ask what its HAP does"});
  command.texts(options->breaks, {"--break", "Stop at this row, then at each", "HAP|LABEL|NUMBER"});
  command.json(options->json);
  command.excludes("--json", {"--step", "--break"});
  command.excludes("--case", {"--max-nesting"});
  command.run([options] { return simulate(*options); });
}

const RegisteredCommand kSimulateCommand(
    {"simulate", Group::kTables, "Runs a table with HAPs that do what you say, without modules",
     "The engine itself runs the rows; no module, configuration or lock is needed, and waits are "
     "added up instead of slept. The first table is run; called tables are looked for in the "
     "configuration too. Each HAP succeeds unless --fail or --throw names it. They take a HAP, the "
     "NUMBER of a row of the table or TABLE/NUMBER, :N for its N-th call alone, and = with "
     "numbers: the error code and words of detail, or the code of the exception.",
     "selftest.csv rails.csv --fail ADC_Expect:2=0x20001", "the table succeeded", "it failed"},
    describeSimulate);

}  // namespace
}  // namespace kw::trx::tools
