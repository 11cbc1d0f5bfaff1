// SPDX-License-Identifier: Apache-2.0
#include "analysis/mutant_test.h"

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <system_error>

#include "analysis/comparison.h"
#include "analysis/mutation.h"
#include "cases/case_of_run.h"
#include "cases/case_run.h"
#include "cases/case_words.h"
#include "cases/case_writer.h"
#include "cases/rule_judge.h"
#include "common/processes.h"
#include "table/finding.h"

namespace kw::trx::tools {
namespace {

namespace fs = std::filesystem;

/// A run of more rows with a fault is one without an end.
constexpr std::size_t kMaxRows = 2000;

/// A folder as long as it is needed.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string folder = (fs::temp_directory_path() / "zqm_trx_mutants_XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) {
      throw std::runtime_error("cannot make a folder like " + folder);
    }
    path_ = folder;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }

  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

TableFlows flowsOf(const Texts& files) {
  TableFlows flows;
  for (const std::string& file : files) {
    TableFlow flow;
    if (readFlow(file, flow)) {
      flows[flow.name] = std::move(flow);
    }
  }
  return flows;
}

/// Judges one fault after the other.
class MutantJudge {
 public:
  MutantJudge(const CaseFile& file, const TableFlows& flows, const MutantOptions& options,
              fs::path folder)
      : file_(file),
        flows_(flows),
        program_(programOf(flows)),
        options_(options),
        folder_(std::move(folder)) {
    for (const TableCase& one : file.cases) {
      tables_.insert(one.table);
    }
    for (const int entry : entriesOf(program_)) {
      tables_.insert(program_.tables[static_cast<std::size_t>(entry)].flow->name);
    }
  }

  /// The kind of the result, and what else there is to it, in the order of its members.
  Texts judge(const Mutant& mutant) const {
    const Texts files = filesWith(mutant);
    TableFlow flow;
    if (!readFlow(mutated(mutant), flow)) {
      return result(MutantResult::Kind::kRefused);
    }
    TableFlows flows = flows_;
    flows[flow.name] = flow;
    const std::string notices = noticedBy(files);
    return notices.empty() ? compareWith(mutant, files, flows)
                           : result(MutantResult::Kind::kNoticed, {notices});
  }

 private:
  static Texts result(MutantResult::Kind kind, const Texts& more = {}) {
    Texts texts = {std::to_string(static_cast<int>(kind))};
    texts.insert(texts.end(), more.begin(), more.end());
    return texts;
  }

  std::string mutated(const Mutant& mutant) const {
    return (folder_ / (mutant.table + ".csv")).string();
  }

  Texts filesWith(const Mutant& mutant) const {
    fs::create_directories(folder_);
    std::ofstream(mutated(mutant)) << tableText(mutant.rows);
    Texts files = file_.tables;
    for (std::string& file : files) {
      file = tableNameOf(file) == mutant.table ? mutated(mutant) : file;
    }
    return files;
  }

  /// The first case that fails, or whose run breaks a rule; empty: none.
  std::string noticedBy(const Texts& files) const {
    const Simulator simulator(files, file_.nest_limit);
    for (TableCase one : file_.cases) {
      one.max_rows = std::max(kMaxRows, one.rows ? one.rows->size() * 2 : 0);
      const SimulatedRun run = runCase(one, simulator);
      std::vector<bool> tested;
      if (!differencesOf(one, run).empty() ||
          !brokenRules(file_.rules, run, simulator.tables(), tested).empty()) {
        return one.name;
      }
    }
    return "";
  }

  Texts compareWith(const Mutant& mutant, const Texts& files, const TableFlows& flows) const {
    const Program mutated = programOf(flows);
    const ComparisonOptions options{file_.nest_limit, options_.max_states, false, 1};
    bool is_complete = true;
    for (const std::string& table : tables_) {
      const Comparison found =
          compare(program_, program_.find(table), mutated, mutated.find(table), options);
      if (!found.differences.empty()) {
        return notNoticed(mutant, files, table, found.differences[0]);
      }
      is_complete = is_complete && found.is_complete;
    }
    return result(is_complete ? MutantResult::Kind::kSame : MutantResult::Kind::kOpen);
  }

  /// Writes the case that notices it, unless it does not.
  Texts notNoticed(const Mutant& mutant, const Texts& files, const std::string& table,
                   const Difference& found) const {
    const Simulator simulator(file_.tables, file_.nest_limit);
    SimulationRequest request;
    request.table = table;
    std::size_t made = 0;
    request.choose = [&](const HAPCall&) {
      HAPOutcome outcome;
      outcome.kind = made < found.old_fails.size() && found.old_fails[made]
                         ? HAPOutcome::Kind::kFailure
                         : outcome.kind;
      ++made;
      return outcome;
    };
    TableCase one = caseOf(simulator.run(request), table, "");
    const Simulator with_fault(files, file_.nest_limit);
    const bool notices = !differencesOf(one, with_fault).empty();
    one.name = mutant.table + ": " + mutant.change;
    return result(MutantResult::Kind::kNotNoticed,
                  {found.old_text, found.new_text,
                   notices ? caseRows(one, tableNameOf(file_.tables[0])) : ""});
  }

  const CaseFile& file_;
  const TableFlows& flows_;
  const Program program_;
  const MutantOptions& options_;
  const fs::path folder_;
  std::set<std::string> tables_;
};

/// The result that the texts of a judge tell.
MutantResult resultOf(const Mutant& mutant, const std::string& file, const Texts& texts) {
  MutantResult result{MutantResult::Kind::kOpen, file, mutant.line, mutant.change, "", "", "", ""};
  if (texts.empty() || texts[0].size() != 1) {
    throw std::runtime_error("a mutant could not be run: " + (texts.empty() ? "" : texts[0]));
  }
  result.kind = static_cast<MutantResult::Kind>(texts[0][0] - '0');
  if (result.kind == MutantResult::Kind::kNoticed) {
    result.noticed_by = texts.at(1);
  } else if (result.kind == MutantResult::Kind::kNotNoticed) {
    result.before = texts.at(1);
    result.after = texts.at(2);
    result.rows = texts.at(3);
  }
  return result;
}

}  // namespace

std::vector<MutantResult> testMutants(const CaseFile& file, const MutantOptions& options) {
  const TableFlows flows = flowsOf(file.tables);
  std::vector<Mutant> mutants;
  for (const auto& [name, flow] : flows) {
    std::vector<Mutant> more = mutantsOf(flow, flows);
    std::move(more.begin(), more.end(), std::back_inserter(mutants));
  }
  const TemporaryFolder folder;
  const std::vector<Texts> texts =
      inProcesses(mutants.size(), options.jobs, [&](std::size_t number) {
        return MutantJudge(file, flows, options, folder.path() / std::to_string(number))
            .judge(mutants[number]);
      });
  std::vector<MutantResult> results;
  results.reserve(mutants.size());
  for (std::size_t i = 0; i < mutants.size(); ++i) {
    results.push_back(resultOf(mutants[i], flows.at(mutants[i].table).file, texts[i]));
  }
  return results;
}

}  // namespace kw::trx::tools
