// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iostream>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "cases/case_file.h"
#include "command_line/text_output.h"
#include "commands/check_output.h"
#include "commands/commands.h"
#include "configuration/configuration.h"
#include "lint/check.h"
#include "lint/fix.h"
#include "table/named_files.h"

namespace kw::trx::tools {
namespace {

struct CheckOptions {
  std::vector<std::string> files;
  bool json = false;
  bool sarif = false;
  bool strict = false;
  bool fix = false;
  bool in_place = false;
};

/// Fixes the files and puts the fixed ones in their places. False when one could not be written.
bool fix(std::vector<std::string>& files, bool in_place) {
  bool all_fixed = true;
  for (std::string& file : files) {
    try {
      const FixedFile fixed = fixFile(file, in_place);
      if (!fixed.steps.empty()) {
        std::cout << file << ": " << (in_place ? "rewritten" : "written to " + fixed.file) << ": "
                  << fixed.steps << '\n';
        file = fixed.file;
      }
    } catch (const std::runtime_error& error) {
      fail(file + ": not fixed: " + error.what());
      all_fixed = false;
    }
  }
  return all_fixed;
}

CheckedFile checkCases(const std::string& file, const Environment& around) {
  const CaseFile cases = readCaseFile(file, around.haps.descriptions);
  CheckedFile checked{file, cases.findings};
  checked.findings.insert(checked.findings.end(), cases.warnings.begin(), cases.warnings.end());
  return checked;
}

/// The files to check. Throws in words when there are none.
std::vector<std::string> filesOf(const CheckOptions& options) {
  std::vector<std::string> files =
      options.files.empty() ? configured().tables : namedFilesOrWords(options.files);
  if (files.empty()) {
    throw UsageError(
        "FILE is required: no configuration names tables; --root gives the system root of a host");
  }
  return files;
}

int check(CheckOptions options) {
  options.files = filesOf(options);
  if (options.fix && !fix(options.files, options.in_place)) {
    return kExitFailed;
  }
  std::vector<std::string> tables;
  std::copy_if(options.files.begin(), options.files.end(), std::back_inserter(tables),
               [](const std::string& file) { return !isCaseFile(file); });
  const Environment around = environmentOf(tables);
  CheckJson json;
  CheckSarif sarif;
  bool errors = false;
  bool warnings = false;
  for (const std::string& file : options.files) {
    const CheckedFile checked =
        isCaseFile(file) ? checkCases(file, around) : checkFile(file, around);
    errors = errors || checked.has(true);
    warnings = warnings || checked.has(false);
    if (options.json) {
      json.add(checked);
    } else if (options.sarif) {
      sarif.add(checked);
    } else {
      print(checked);
    }
  }
  if (options.json || options.sarif) {
    std::cout << (options.json ? json.taken() : sarif.taken()) << '\n';
  }
  return errors ? kExitFailed : options.strict && warnings ? kExitFindings : kExitOk;
}

}  // namespace

void addCheckCommand(CommandLine& line) {
  auto options = std::make_shared<CheckOptions>();
  CommandOptions command =
      line.add("check", "Finds everything wrong in table files and case files",
               "Each line: file, line, column, what is wrong, and the trace id that the engine "
               "writes for it.\n"
               "A file without an error is loaded by the engine. With a configuration, that of "
               "--root or of\n"
               "this system, the tables and HAPs that rows name are looked for in it as well; the "
               "name of\n"
               "one of its tables stands for its file, and without FILE all its tables are "
               "checked.\n"
               "--fix repairs what a spreadsheet or an editor did to a file as a whole: separator, "
               "encoding, byte\n"
               "order mark. No cell changes. The fixed file is checked.\n"
               "Example: trxctl check init.csv rails.csv\n"
               "Exit status: 0 no errors; 1 warnings, with --strict; 2 errors.");
  command.texts(
      options->files,
      {"FILE", "Table files or names of configured tables, and case files as test runs them"});
  command.flag(options->json, {"--json", "Print JSON"});
  command.flag(options->sarif, {"--sarif", "Print SARIF, which code hosts show at its lines"});
  command.flag(options->strict, {"--strict", "Let warnings change the exit status"});
  command.flag(options->fix, {"--fix",
                              "Write what another dialect holds as the engine reads it, into the "
                              "folder fixed beside the file"});
  command.flag(options->in_place, {"--in-place", "With --fix, in the place of the file"});
  command.needs("--in-place", "--fix");
  command.needs("--fix", "FILE");
  command.excludes("--fix", {"--json", "--sarif"});
  command.excludes("--json", {"--sarif"});
  command.run([options] { return check(*options); });
}

}  // namespace kw::trx::tools
