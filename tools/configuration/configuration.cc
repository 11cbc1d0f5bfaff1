// SPDX-License-Identifier: Apache-2.0
#include "configuration/configuration.h"

#include <stdexcept>

#include "common/paths.h"
#include "configuration/board_copy.h"
#include "kw/platform.h"
#include "kw/trx/errors.h"
#include "kw/trx/trx_config.h"
#include "trace/event.h"
#include "trace/record_collector.h"
#include "trace/record_words.h"
#include "zqm_trx/config_keys.h"

namespace kw::trx::tools {

std::string loadConfiguration() {
  const BoardCopy copy;
  RecordCollector collector;
  try {
    trx::TRXConfig::getInstance().load();
  } catch (const trx::TRXException&) {
    const kw::platform::TraceRecord record = collector.taken().at(0);
    const std::string path_file = kw::platform::resolvePath(trx::kPathFile);
    const EventKind kind = eventOf(record).kind;
    if (kind == EventKind::kNoPathFile) {
      return "the path file " + path_file + " cannot be read";
    }
    return kind == EventKind::kNoPath
               ? "the path file " + path_file + " has no value for the key " + trx::kKeyTRXConf
               : describe(record);
  }
  return {};
}

Configured configured() {
  const std::string problem = loadConfiguration();
  if (!problem.empty()) {
    if (!kw::platform::getSystemRoot().empty()) {
      throw std::runtime_error(problem + "; see trxctl config");
    }
    return {};
  }
  const trx::TRXConfig& config = trx::TRXConfig::getInstance();
  Configured found{true, {}, config.getHAPModuleFiles()};
  for (const std::string& file : config.getTableFiles()) {
    found.tables.push_back(absolutePath("/" + file));  // the engine counts from there
  }
  return found;
}

}  // namespace kw::trx::tools
