// SPDX-License-Identifier: Apache-2.0
#include "configuration/report.h"

#include <algorithm>

#include "configuration/board_copy.h"
#include "configuration/configuration.h"
#include "configuration/report_writer.h"
#include "kw/platform.h"
#include "zqm_trx/config_keys.h"

namespace kw::trx::tools {
namespace {

/// Returns why the engine refuses the configuration; empty when it does not.
std::string writeReport(ReportWriter& writer) {
  const std::string problem = loadConfiguration();
  PropertiesFile paths;
  paths.path = kw::platform::resolvePath(trx::kPathFile);
  if (!paths.read().empty()) {
    return problem + "; name the folder that holds kw/etc/kwpath.conf with --root";
  }
  const std::string path = paths.values.getProperty(trx::kKeyTRXConf);
  if (paths.values.exist(trx::kKeyTRXConf)) {
    writer.value(trx::kKeyTRXConf, path, paths, paths.lineOf(trx::kKeyTRXConf));
  }
  warnOfPathKeys(writer, paths);
  if (path.empty()) {
    return problem + "; correct " + paths.path;
  }
  PropertiesFile engine;
  engine.path = boardFile(kw::platform::resolvePath(path));
  if (const std::string why = engine.read(); !why.empty()) {
    return "the engine configuration '" + engine.path + "' cannot be read: " + why +
           "; correct it or " + paths.path;
  }
  writeValues(writer, engine);
  warnOfEngineKeys(writer, engine);
  warnOfValues(writer, engine);
  return problem.empty() ? problem : problem + "; correct " + engine.path;
}

}  // namespace

bool ConfigReport::hasWarnings() const {
  return std::any_of(entries.begin(), entries.end(),
                     [](const ConfigEntry& entry) { return entry.is_warning; });
}

ConfigReport reportConfiguration() {
  ReportWriter writer;
  const std::string problem = writeReport(writer);
  writer.report.problem = problem;
  return writer.report;
}

}  // namespace kw::trx::tools
