// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include "configuration/report.h"
#include "trxctl/commands.h"
#include "trxctl/text_output.h"

namespace kw::trx::tools {
namespace {

void print(const ConfigEntry& entry) {
  const std::string place = entry.file + ":" + std::to_string(entry.line);
  if (entry.is_warning) {
    std::cout << place << ": " << paint(Colour::kYellow, "warning") << ": " << entry.words << '\n';
    return;
  }
  const std::string origin = entry.line == 0 ? "default" : place;
  std::cout << entry.key << " = " << entry.words << "  " << paint(Colour::kGrey, "(" + origin + ")")
            << '\n';
}

int showConfiguration(bool strict) {
  const ConfigReport report = reportConfiguration();
  for (const ConfigEntry& entry : report.entries) {
    print(entry);
  }
  if (!report.problem.empty()) {
    return fail(report.problem);
  }
  return strict && report.hasWarnings() ? kExitFindings : kExitOk;
}

}  // namespace

void addConfigCommand(CommandLine& line) {
  auto strict = std::make_shared<bool>(false);
  Command command = line.add(
      "config", "Shows the effective configuration, and what is odd about it",
      "Each value stands with the file and line that set it, or with \"default\".\n"
      "Example: trxctl config --root /opt/board\n"
      "Exit status: 0 the engine accepts it; 1 there are warnings, with --strict; 2 it does not.");
  command.flag(*strict, {"--strict", "Let warnings change the exit status"});
  command.run([strict] { return showConfiguration(*strict); });
}

}  // namespace kw::trx::tools
