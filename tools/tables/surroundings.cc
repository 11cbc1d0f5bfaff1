// SPDX-License-Identifier: Apache-2.0
#include "tables/surroundings.h"

#include <optional>
#include <utility>

#include "configuration/configuration.h"

namespace kw::trx::tools {

KnownTables readTables(const std::vector<std::string>& files,
                       const std::vector<std::string>& configured) {
  KnownTables tables;
  const auto read = [&tables](const std::string& file) {
    TableFlow flow;
    if (readFlow(file, flow)) {
      tables.flows[flow.name] = std::move(flow);
    } else {
      tables.refused.insert(flow.name);
    }
  };
  for (const std::string& file : configured) {
    read("/" + file);
  }
  for (const std::string& file : files) {
    read(file);
  }
  return tables;
}

std::vector<std::string> KnownTables::names() const {
  std::vector<std::string> all(refused.begin(), refused.end());
  for (const auto& table : flows) {
    all.push_back(table.first);
  }
  return all;
}

Surroundings surroundingsOf(const std::vector<std::string>& files) {
  Surroundings around;
  std::optional<std::vector<std::string>> modules;
  const std::vector<std::string> configured = configuredTables(modules);
  around.tables = readTables(files, configured);
  around.calls = callsOf(around.tables.flows);
  if (modules) {
    around.haps = hapsOf(*modules);
  }
  return around;
}

}  // namespace kw::trx::tools
