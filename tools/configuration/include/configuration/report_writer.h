// SPDX-License-Identifier: Apache-2.0
// The parts that a report of the configuration is made of.
#ifndef KW_TRX_TOOLS_CONFIGURATION_REPORT_WRITER_H_
#define KW_TRX_TOOLS_CONFIGURATION_REPORT_WRITER_H_

#include <string>
#include <vector>

#include "configuration/properties_file.h"
#include "configuration/report.h"

namespace kw::trx::tools {

/// Adds to a report.
class ReportWriter {
 public:
  void value(const std::string& key, const std::string& value, const PropertiesFile& file,
             unsigned int line, const std::string& found = "") {
    report.entries.push_back({false, key, value, file.path, line, found});
  }

  void warn(const PropertiesFile& file, unsigned int line, const std::string& message) {
    report.entries.push_back({true, "", message, file.path, line, ""});
  }

  ConfigReport report;
};

/// Adds the values of the configuration `file` as the engine reads them, and what is odd about the
/// files listed in it.
void writeValues(ReportWriter& writer, PropertiesFile& file);

/// The limit that the engine reads under `key`.
unsigned int limitOf(PropertiesFile& file, const char* key);

/// Adds what is odd about the keys of the path file, which holds those of other programs as well.
void warnOfPathKeys(ReportWriter& writer, const PropertiesFile& file);

/// Adds what is odd about the keys of the configuration.
void warnOfEngineKeys(ReportWriter& writer, const PropertiesFile& file);

/// Adds the values of the configuration that count as something else than they look like.
void warnOfValues(ReportWriter& writer, PropertiesFile& file);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_CONFIGURATION_REPORT_WRITER_H_
