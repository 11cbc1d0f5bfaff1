// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <tuple>

#include "trxctl/commands.h"
#include "trxctl/configuration.h"
#include "trxctl/elf_module.h"
#include "trxctl/table_check.h"
#include "trxctl/table_warnings.h"

namespace kw::trx::trxctl {
namespace {

using Json = nlohmann::ordered_json;

struct CheckOptions {
  std::vector<std::string> files;
  bool json = false;
  bool strict = false;
};

struct CheckedFile {
  std::string file;
  std::vector<Finding> findings;

  bool has(bool errors) const {
    return std::any_of(findings.begin(), findings.end(),
                       [errors](const Finding& finding) { return finding.is_error == errors; });
  }
};

/// Sorts the HAPs of the listed modules as the engine does: of two modules with one key the later
/// one replaces the other. They stay unknown when a module does not tell its own.
void addHAPs(const std::vector<std::string>& modules, Surroundings& around) {
  std::map<std::string, std::vector<std::string>> loaded;
  for (const std::string& file : modules) {
    const ModuleFile module = inspectModule(file);
    if (!module.has_sections) {
      return;
    }
    const bool loads = module.problems.empty();
    std::vector<std::string>& haps = loaded[module.key];
    for (const std::string& hap : loads ? haps : module.haps) {
      around.lost_haps[hap] = loads ? "is replaced by a later one of its key" : "would not load";
    }
    haps = loads ? module.haps : haps;
  }
  around.haps.emplace();
  for (const auto& [key, haps] : loaded) {
    around.haps->insert(haps.begin(), haps.end());
  }
}

Surroundings surroundingsOf(const std::vector<std::string>& files) {
  Surroundings around;
  std::optional<std::vector<std::string>> modules;
  const std::vector<std::string> configured = configuredTables(modules);
  around.tables = readTables(files, configured);
  if (modules) {
    addHAPs(*modules, around);
  }
  return around;
}

CheckedFile checkFile(const std::string& file, const Surroundings& around) {
  CheckedFile checked{file, findFaults(file)};
  const auto append = [&](const std::vector<Finding>& more) {
    checked.findings.insert(checked.findings.end(), more.begin(), more.end());
  };
  append(spreadsheetWarnings(file));
  TableFlow flow;
  if (!checked.has(true) && readFlow(file, flow)) {
    append(flowWarnings(flow, around));
  }
  std::stable_sort(checked.findings.begin(), checked.findings.end(),
                   [](const Finding& a, const Finding& b) {
                     return std::tie(a.line, a.column) < std::tie(b.line, b.column);
                   });
  return checked;
}

void print(const CheckedFile& checked) {
  for (const Finding& finding : checked.findings) {
    std::cout << checked.file;
    if (finding.line != 0) {
      std::cout << ':' << finding.line << " (" << finding.column << ')';
    }
    std::cout << ": "
              << (finding.is_error ? paint(Colour::kRed, "error")
                                   : paint(Colour::kYellow, "warning"))
              << ": " << finding.words;
    if (finding.is_error) {
      std::cout << ' ' << paint(Colour::kGrey, "[" + hexText(finding.id) + "]");
    }
    std::cout << '\n';
  }
}

Json jsonOf(const CheckedFile& checked) {
  Json findings = Json::array();
  for (const Finding& finding : checked.findings) {
    Json entry;
    entry["severity"] = finding.is_error ? "error" : "warning";
    if (finding.line != 0) {
      entry["line"] = finding.line;
      entry["column"] = finding.column.substr(0, 1);
      entry["name"] = finding.column.size() > 3 ? finding.column.substr(3) : "";
    }
    entry["words"] = finding.words;
    if (finding.is_error) {
      entry["traceId"] = hexText(finding.id);
    }
    findings.push_back(entry);
  }
  return {{"file", checked.file}, {"loads", !checked.has(true)}, {"findings", findings}};
}

int check(const CheckOptions& options) {
  const Surroundings around = surroundingsOf(options.files);
  Json all = Json::array();
  bool errors = false;
  bool warnings = false;
  for (const std::string& file : options.files) {
    const CheckedFile checked = checkFile(file, around);
    errors = errors || checked.has(true);
    warnings = warnings || checked.has(false);
    if (options.json) {
      all.push_back(jsonOf(checked));
    } else {
      print(checked);
    }
  }
  if (options.json) {
    std::cout << all.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
  }
  return errors ? kExitFailed : options.strict && warnings ? kExitFindings : kExitOk;
}

}  // namespace

void addCheckCommand(CLI::App& app, int& status) {
  auto options = std::make_shared<CheckOptions>();
  CLI::App* command =
      addCommand(app, "check", "Finds everything wrong in table files",
                 "Each line: file, line, column, what is wrong, and the trace id that the engine "
                 "writes for it.\n"
                 "A file without an error is loaded by the engine. With a configuration, that of "
                 "--root or of\n"
                 "this system, the tables and HAPs that rows name are looked for in it as well.\n"
                 "Example: trxctl check init.csv rails.csv\n"
                 "Exit status: 0 no errors; 1 warnings, with --strict; 2 errors.");
  command->add_option("FILE", options->files, "Table files")->required();
  command->add_flag("--json", options->json, "Print JSON");
  command->add_flag("--strict", options->strict, "Let warnings change the exit status");
  command->callback([options, &status] { status = check(*options); });
}

}  // namespace kw::trx::trxctl
