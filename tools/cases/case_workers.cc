// SPDX-License-Identifier: Apache-2.0
#include "cases/case_workers.h"

#include <memory>
#include <utility>

#include "cases/case_run.h"
#include "common/processes.h"

namespace kw::trx::tools {

std::vector<std::vector<CaseResult>> runCases(const std::vector<CaseFile>& files,
                                              std::size_t jobs) {
  std::vector<std::pair<std::size_t, std::size_t>> places;  // of file and case
  std::vector<std::vector<CaseResult>> results(files.size());
  for (std::size_t file = 0; file < files.size(); ++file) {
    for (const TableCase& one : files[file].cases) {
      places.push_back({file, results[file].size()});
      results[file].push_back({one.name, one.line, {}});
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
    return differencesOf(files[file].cases[one], *simulator);
  });
  for (std::size_t i = 0; i < places.size(); ++i) {
    results[places[i].first][places[i].second].differences = differences[i];
  }
  return results;
}

}  // namespace kw::trx::tools
