// SPDX-License-Identifier: Apache-2.0
#include "trxctl/configuration.h"

#include <stdexcept>

#include "config/config_keys.h"
#include "kw/platform.h"
#include "kw/trx/errors.h"
#include "kw/trx/trx_config.h"
#include "support/trace.h"
#include "trxctl/record_collector.h"
#include "trxctl/trace_catalogue.h"

namespace kw::trx::trxctl {

std::string loadConfiguration() {
  RecordCollector collector;
  try {
    trx::TRXConfig::getInstance().load();
  } catch (const trx::TRXException&) {
    const kw::platform::TraceRecord record = collector.taken().at(0);
    const std::string path_file = kw::platform::resolvePath(trx::kPathFile);
    if (record.id == trx::kConfigNoPathFile.id) {
      return "the path file " + path_file + " cannot be read";
    }
    return record.id == trx::kConfigNoPath.id
               ? "the path file " + path_file + " has no value for the key " + trx::kKeyTRXConf
               : describe(record);
  }
  return {};
}

std::vector<std::string> configuredTables(std::optional<std::vector<std::string>>& modules) {
  const std::string problem = loadConfiguration();
  const trx::TRXConfig& config = trx::TRXConfig::getInstance();
  if (problem.empty()) {
    modules = config.getHAPModuleFiles();
    return config.getTableFiles();
  }
  if (!kw::platform::getSystemRoot().empty()) {
    throw std::runtime_error(problem + "; see trxctl config");
  }
  return {};
}

KnownTables readTables(const std::vector<std::string>& files,
                       const std::vector<std::string>& configured) {
  KnownTables tables;
  const auto read = [&tables](const std::string& file) {
    TableFlow flow;
    if (readFlow(file, flow)) {
      tables.flows[flow.name] = flow;
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

}  // namespace kw::trx::trxctl
