// SPDX-License-Identifier: Apache-2.0
#include "cases/case_workers.h"

#include <memory>
#include <utility>

#include "cases/case_run.h"
#include "cases/rule_judge.h"
#include "common/processes.h"

namespace kw::trx::tools {
namespace {

/// Begins the last text of a case that was run: which rules it tested.
constexpr char kTestedRules = '\1';
constexpr char kTested = '1';

std::string textOf(const std::vector<bool>& tested) {
  std::string text(1, kTestedRules);
  for (const bool one : tested) {
    text += one ? kTested : '0';
  }
  return text;
}

/// Takes that text out of the differences.
void takeTested(CaseResult& result) {
  std::vector<std::string>& texts = result.differences;
  if (texts.empty() || texts.back().empty() || texts.back()[0] != kTestedRules) {
    return;  // its process ended before
  }
  for (std::size_t i = 1; i < texts.back().size(); ++i) {
    result.tested_rules.push_back(texts.back()[i] == kTested);
  }
  texts.pop_back();
}

}  // namespace

std::vector<std::vector<CaseResult>> runCases(const std::vector<CaseFile>& files,
                                              std::size_t jobs) {
  std::vector<std::pair<std::size_t, std::size_t>> places;  // of file and case
  std::vector<std::vector<CaseResult>> results(files.size());
  for (std::size_t file = 0; file < files.size(); ++file) {
    for (const TableCase& one : files[file].cases) {
      places.push_back({file, results[file].size()});
      results[file].push_back({one.name, one.line, {}, {}});
    }
  }
  std::unique_ptr<Simulator> simulator;  // each process has its own, of one file after the other
  std::size_t loaded = files.size();
  const std::vector<Texts> differences = inProcesses(places.size(), jobs, [&](std::size_t number) {
    const auto& [file, one] = places[number];
    if (file != loaded) {
      simulator = std::make_unique<Simulator>(files[file].tables, files[file].nest_limit);
      loaded = file;
    }
    const TableCase& expected = files[file].cases[one];
    const SimulatedRun run = runCase(expected, *simulator);
    Texts found = differencesOf(expected, run);
    std::vector<bool> tested;
    for (std::string& broken : brokenRules(files[file].rules, run, simulator->tables(), tested)) {
      found.push_back(std::move(broken));
    }
    found.push_back(textOf(tested));
    return found;
  });
  for (std::size_t i = 0; i < places.size(); ++i) {
    CaseResult& result = results[places[i].first][places[i].second];
    result.differences = differences[i];
    takeTested(result);
  }
  return results;
}

}  // namespace kw::trx::tools
