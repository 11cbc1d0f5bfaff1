// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>

#include "analysis/visible_run.h"
#include "cases/case_file.h"
#include "command_line/command_line.h"
#include "command_line/ring_reading.h"
#include "command_line/text_output.h"
#include "commands/compare_output.h"
#include "common/processes.h"
#include "replay/request_recording.h"
#include "replay/visible_replay.h"
#include "table/environment.h"
#include "table/finding.h"
#include "trace/selection.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kMaxPairs = 1000000000;
constexpr std::size_t kMaxDifferences = 100;

struct CompareOptions {
  std::string old_path, new_path, table, ring;
  std::size_t nest_limit = kTableNestLimit;
  std::size_t max_states = 2000000;
  bool rows = false;
  bool json = false;
};

/// One set of tables.
struct TableSet {
  Texts files;
  TableFlows flows;
  Program program;
};

/// Adds the files beside those of `files` of tables that they call.
void addCalledBeside(const std::filesystem::path& folder, Texts& files) {
  std::set<std::string> known = {tableNameOf(files[0])};
  for (std::size_t i = 0; i < files.size(); ++i) {
    TableFlow flow;
    readFlow(files[i], flow);
    for (const std::string& name : flow.called()) {
      const std::string file = (folder / (name + ".csv")).string();
      if (known.insert(name).second && std::filesystem::exists(file)) {
        files.push_back(file);
      }
    }
  }
}

/// The tables of a folder, or of a file and those beside it that it calls. Throws with a message.
TableSet tablesAt(const std::string& path) {
  TableSet set;
  for (const std::string& file : tableFilesOf({path})) {
    if (!isCaseFile(file)) {
      set.files.push_back(file);
    }
  }
  if (set.files.empty()) {
    throw std::runtime_error(path + ": there is no table file");
  }
  if (!std::filesystem::is_directory(path)) {
    addCalledBeside(std::filesystem::path(path).parent_path(), set.files);
  }
  KnownTables tables = readTables(set.files, {});
  if (!tables.refused.empty()) {
    throw std::runtime_error(path + ": the engine does not load the table " +
                             *tables.refused.begin() + "; trxctl check tells why");
  }
  set.flows = std::move(tables.flows);
  set.program = programOf(set.flows);
  return set;
}

/// The tables that hosts must be the ones to run, in one of both sets at least.
std::set<std::string> namesToCompare(const TableSet& before, const TableSet& after) {
  std::set<std::string> names;
  for (const TableSet* set : {&before, &after}) {
    for (const int entry : entriesOf(set->program)) {
      names.insert(set->program.tables[static_cast<std::size_t>(entry)].flow->name);
    }
  }
  return names;
}

ComparedTable compareTable(const std::string& name, const TableSet& before, const TableSet& after,
                           const CompareOptions& options) {
  const int old_table = before.program.find(name);
  const int new_table = after.program.find(name);
  if (old_table == kAbsent || new_table == kAbsent) {
    return {name, old_table == kAbsent ? "is new" : "is gone", {}, {}};
  }
  const ComparisonOptions limits{static_cast<unsigned int>(options.nest_limit), options.max_states,
                                 options.rows, kMaxDifferences};
  return {name, "", compare(before.program, old_table, after.program, new_table, limits), {}};
}

/// Lets the engine run all differences with both sets. Throws when it runs one otherwise.
void confirm(ComparisonResult& result, const TableSet& before, const TableSet& after,
             const CompareOptions& options) {
  std::vector<std::pair<ComparedTable*, const Difference*>> all;
  for (ComparedTable& table : result.tables) {
    table.runs.resize(table.comparison.differences.size());
    for (const Difference& one : table.comparison.differences) {
      all.emplace_back(&table, &one);
    }
  }
  const auto nest_limit = static_cast<unsigned int>(options.nest_limit);
  std::unique_ptr<Simulator> simulator;  // each process has its own, of one set after the other
  bool is_new = false;
  const auto fails = [&](std::size_t number) {
    const Difference& one = *all[number % all.size()].second;
    return number < all.size() ? one.old_fails : one.new_fails;
  };
  const std::vector<Texts> runs = inProcesses(all.size() * 2, usualJobs(), [&](std::size_t number) {
    if (simulator == nullptr || is_new != (number >= all.size())) {
      is_new = number >= all.size();
      simulator = std::make_unique<Simulator>((is_new ? after : before).files, nest_limit);
    }
    return visibleRun(*simulator, all[number % all.size()].first->name, fails(number),
                      options.rows);
  });
  Machine machines[] = {Machine(before.program, nest_limit), Machine(after.program, nest_limit)};
  for (std::size_t number = 0; number < runs.size(); ++number) {
    const auto& [table, one] = all[number % all.size()];
    const bool of_new = number >= all.size();
    const Program& program = (of_new ? after : before).program;
    const Texts foreseen = visibleRun(machines[of_new ? 1 : 0], program.find(table->name),
                                      fails(number), options.rows);
    RunPair& pair =
        table->runs[static_cast<std::size_t>(one - table->comparison.differences.data())];
    (of_new ? pair.new_lines : pair.old_lines) = runs[number];
    const bool is_cut = options.rows && foreseen.back() != runs[number].back();
    if ((foreseen != runs[number] && !is_cut) || (of_new && pair.old_lines == pair.new_lines)) {
      throw std::runtime_error("the engine does not confirm the difference '" + one->old_text +
                               "; now " + one->new_text + "'; this is a fault of trxctl");
    }
  }
}

/// Compares the recorded requests of the ring with what the new tables do.
int compareRequests(ComparisonResult& result, const TableSet& after,
                    const CompareOptions& options) {
  RequestRecording recording(0);
  RequestReader reader(recording);
  if (const int opened = openRings({options.ring}, reader); opened != kExitOk) {
    return opened;
  }
  if (const int status = readRings(reader, {options.ring}, false); status != kExitOk) {
    return status;
  }
  std::unique_ptr<Simulator> simulator;
  unsigned int nest_limit = 0;
  for (const RequestRecording::Recorded& one : recording.results()) {
    const Request& request = one.request.request;
    ComparedRequest compared{requestText(request.id, request.number), one.problem, {}};
    if (compared.problem.empty() && after.flows.count(request.name) == 0) {
      compared.problem = "request " + compared.name + ": there is no table " + request.name;
    }
    if (compared.problem.empty()) {
      if (simulator == nullptr || nest_limit != one.request.nest_limit) {
        nest_limit = one.request.nest_limit;
        simulator = std::make_unique<Simulator>(after.files, nest_limit);
      }
      const VisibleReplay replay = visibleReplay(one.request, *simulator);
      compared.runs = {replay.recorded, replay.replayed};
    }
    result.requests.push_back(std::move(compared));
  }
  return kExitOk;
}

int statusOf(const ComparisonResult& result) {
  const bool differs =
      std::any_of(result.tables.begin(), result.tables.end(),
                  [](const ComparedTable& table) { return !table.isSame(); }) ||
      std::any_of(result.requests.begin(), result.requests.end(),
                  [](const ComparedRequest& request) { return !request.isSame(); });
  const bool is_open =
      std::any_of(result.tables.begin(), result.tables.end(),
                  [](const ComparedTable& table) { return !table.comparison.is_complete; }) ||
      std::any_of(result.requests.begin(), result.requests.end(),
                  [](const ComparedRequest& request) { return !request.problem.empty(); });
  return differs ? kExitFindings : is_open ? kExitFailed : kExitOk;
}

int compareTables(const CompareOptions& options) {
  const TableSet before = tablesAt(options.old_path);
  const TableSet after = tablesAt(options.new_path);
  ComparisonResult result;
  std::set<std::string> names = namesToCompare(before, after);
  if (!options.table.empty()) {
    names = {options.table};
    if (before.flows.count(options.table) + after.flows.count(options.table) == 0) {
      return fail("there is no table '" + options.table + "' in either");
    }
  }
  for (const std::string& name : names) {
    result.tables.push_back(compareTable(name, before, after, options));
  }
  confirm(result, before, after, options);
  if (!options.ring.empty()) {
    if (const int status = compareRequests(result, after, options); status != kExitOk) {
      return status;
    }
  }
  if (options.json) {
    printComparisonJson(result);
  } else {
    printComparison(result);
  }
  return statusOf(result);
}

void describeCompare(CommandOptions& command) {
  auto options = std::make_shared<CompareOptions>();
  command.text(options->old_path, {"OLD", "Folder with tables, or a table file", "", {}, true});
  command.text(options->new_path, {"NEW", "The same after the edit", "", {}, true});
  command.text(options->table, {"--table", "Compare runs of this table alone", "NAME"});
  command.flag(options->rows,
               {"--rows", "Take rows with another NUMBER or LABEL for a difference"});
  command.text(options->ring,
               {"--replay", "Compare the requests of this trace ring with NEW too", "RING"});
  command.number(options->nest_limit, {"--max-nesting", "As haptable.nest.exec.limit", "COUNT"}, 0,
                 kMaxNestLimit);
  command.number(options->max_states,
                 {"--max-states", "Look at no more pairs of states of a table", "COUNT"}, 1,
                 kMaxPairs);
  command.json(options->json);
  command.run([options] { return compareTables(*options); });
}

const RegisteredCommand kCompareCommand(
    {"compare", Group::kTables, "Tells what an edit of tables changes, in all runs",
     "Runs the tables of two folders in lockstep, with all outcomes of their HAPs. What counts are "
     "HAPs with mode and words, waits, the end, its message and the first failing row by the HAP "
     "that it calls. For each difference there is a shortest run, which the engine has run with "
     "both: - is the old one, + the new one. Of a file, tables that it calls are looked for beside "
     "it.",
     "tables.main tables --replay trace.ring", "the same in all runs", "a difference"},
    describeCompare);

}  // namespace
}  // namespace kw::trx::tools
