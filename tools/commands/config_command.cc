// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include "command_line/command_line.h"
#include "command_line/text_output.h"
#include "common/json.h"
#include "configuration/report.h"

namespace kw::trx::tools {
namespace {

struct ConfigOptions {
  bool strict = false;
  bool json = false;
};

void print(const ConfigEntry& entry) {
  const std::string place = entry.file + ":" + std::to_string(entry.line);
  if (entry.is_warning) {
    std::cout << place << ": " << paint(Colour::kYellow, "warning") << ": " << entry.message
              << '\n';
    return;
  }
  const std::string origin = (entry.line == 0 ? "default" : place) +
                             (entry.found.empty() ? "" : "; read from " + entry.found);
  std::cout << entry.key << " = " << entry.message << "  "
            << paint(Colour::kGrey, "(" + origin + ")") << '\n';
}

void write(const ConfigEntry& entry, JsonWriter& json) {
  json.beginObject();
  if (!entry.is_warning) {
    json.member("key", entry.key).member("value", entry.message);
  } else {
    json.member("message", entry.message);
  }
  if (!entry.found.empty()) {
    json.member("found", entry.found);
  }
  if (entry.line != 0) {
    json.member("file", entry.file).key("line").number(entry.line);
  }
  json.endObject();
}

void printJson(const ConfigReport& report) {
  JsonWriter json(2);
  startOutput("config", json);
  json.key("loads").boolean(report.problem.empty());
  json.member("problem", report.problem);
  for (const bool is_warning : {false, true}) {
    json.key(is_warning ? "warnings" : "values").beginArray();
    for (const ConfigEntry& entry : report.entries) {
      if (entry.is_warning == is_warning) {
        write(entry, json);
      }
    }
    json.endArray();
  }
  std::cout << json.endObject().taken() << '\n';
}

int showConfiguration(const ConfigOptions& options) {
  const ConfigReport report = reportConfiguration();
  if (options.json) {
    printJson(report);
  }
  for (const ConfigEntry& entry : options.json ? std::vector<ConfigEntry>() : report.entries) {
    print(entry);
  }
  if (!report.problem.empty()) {
    fail(report.problem);
    return kExitFindings;
  }
  return options.strict && report.hasWarnings() ? kExitFindings : kExitOk;
}

void describeConfig(CommandOptions& command) {
  auto options = std::make_shared<ConfigOptions>();
  command.json(options->json);
  command.flag(options->strict, {"--strict", "Let warnings change the exit status"});
  command.run([options] { return showConfiguration(*options); });
}

const RegisteredCommand kConfigCommand(
    {"config", Group::kMachine, "Shows the effective configuration, and what is unusual in it",
     "Each value stands with the file and line that set it, or with \"default\".",
     "--root /opt/board", "the engine accepts it",
     "it does not, or with --strict there are warnings"},
    describeConfig);

}  // namespace
}  // namespace kw::trx::tools
