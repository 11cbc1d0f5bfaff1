// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iostream>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "cases/case_file.h"
#include "command_line/command_line.h"
#include "command_line/text_output.h"
#include "commands/check_output.h"
#include "configuration/configuration.h"
#include "lint/check.h"
#include "lint/fix.h"
#include "table/named_files.h"

namespace kw::trx::tools {
namespace {

constexpr char kText[] = "text";
constexpr char kSarif[] = "sarif";

struct CheckOptions {
  std::vector<std::string> files;
  std::string format = kText;
  bool json = false;
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
  return {file, readCaseFile(file, around.haps.descriptions).findings};
}

/// The files to check. Throws in words when there are none.
std::vector<std::string> filesOf(const CheckOptions& options) {
  std::vector<std::string> files =
      options.files.empty() ? configured().tables : namedFilesOrWords(options.files);
  if (files.empty()) {
    throw UsageError(
        "TABLE is required: no configuration names tables; --root gives the system root of a "
        "host");
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
  const bool is_sarif = options.format == kSarif;
  const TableChecker checker(around);
  CheckJson json;
  CheckSarif sarif;
  CheckSum sum;
  for (const std::string& file : options.files) {
    const CheckedFile checked = isCaseFile(file) ? checkCases(file, around) : checker.check(file);
    sum.add(checked);
    if (options.json) {
      json.add(checked);
    } else if (is_sarif) {
      sarif.add(checked);
    } else {
      print(checked);
    }
  }
  if (options.json || is_sarif) {
    std::cout << (options.json ? json.taken() : sarif.taken()) << '\n';
  } else {
    print(sum);
  }
  const bool finds = sum.with_errors != 0 || (options.strict && sum.with_warnings != 0);
  return sum.unreadable != 0 ? kExitFailed : finds ? kExitFindings : kExitOk;
}

void describeCheck(CommandOptions& command) {
  auto options = std::make_shared<CheckOptions>();
  command.texts(
      options->files,
      {"TABLE", "Table files or names of configured tables, and case files as test runs them"});
  command.json(options->json);
  command.text(options->format, {"--format",
                                 "sarif is what code hosts show at the lines of the file",
                                 "FORMAT",
                                 {kText, kSarif}});
  command.flag(options->strict, {"--strict", "Let warnings change the exit status"});
  command.flag(options->fix, {"--fix",
                              "Write what another dialect holds as the engine reads it, into the "
                              "folder fixed beside the file"});
  command.flag(options->in_place, {"--in-place", "With --fix, in the place of the file"});
  command.needs("--in-place", "--fix");
  command.needs("--fix", "TABLE");
  command.excludes("--fix", {"--json", "--format"});
  command.excludes("--json", {"--format"});
  command.run([options] { return check(*options); });
}

const RegisteredCommand kCheckCommand(
    {"check", Group::kTables, "Finds everything wrong in table files and case files",
     "Each line: file, line, column, what is wrong, and the trace id that the engine writes for "
     "it. The engine loads a file without an error. With a configuration, that of --root or of "
     "this system, the tables and HAPs that rows name are looked for in it as well; without TABLE "
     "all its tables are checked. --fix repairs what a spreadsheet or an editor did to a file as a "
     "whole: separator, encoding, byte order mark. No cell changes. The fixed file is checked.",
     "init.csv rails.csv", "there are no errors", "there are errors, or with --strict warnings"},
    describeCheck);

}  // namespace
}  // namespace kw::trx::tools
