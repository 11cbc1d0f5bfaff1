// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "command_line/command_line.h"
#include "command_line/output_file.h"
#include "command_line/text_output.h"
#include "commands/junit.h"
#include "commands/missing_output.h"
#include "commands/mutants_output.h"
#include "common/json.h"
#include "common/processes.h"
#include "table/code_meanings.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kMaxJobs = 1000;
constexpr std::size_t kMaxPairsOfMutants = 1000000000;
constexpr char kText[] = "text";
constexpr char kJunit[] = "junit";

struct TestOptions {
  std::vector<std::string> files;
  std::string format = kText;
  OutputOptions output;
  bool json = false;
  std::size_t jobs = 0;  ///< 0: one for each processor
  bool strict = false;
  bool mutants = false;
  bool write_missing = false;
  std::size_t max_states = 200000;
};

void print(const CaseFile& file, std::ostream& out) {
  for (const Finding& finding : file.findings) {
    out << file.file;
    if (finding.line != 0) {
      out << ':' << finding.line << " (" << finding.column << ')';
    }
    out << ": " << paint(Colour::kRed, "error") << ": " << finding.message << '\n';
  }
}

void print(const std::string& file, const CaseResult& result) {
  const bool passed = result.differences.empty();
  std::cout << (passed ? paint(Colour::kGreen, "ok  ") : paint(Colour::kRed, "FAIL")) << ' ' << file
            << ':' << result.line << ": " << result.name << '\n';
  for (const std::string& difference : result.differences) {
    std::cout << "       " << difference << '\n';
  }
}

/// What came of all files.
struct Tested {
  std::vector<CaseFile> unreadable;  ///< with rows that are refused
  std::vector<CaseFile> case_files;  ///< all
  std::vector<TestedFile> files;
  std::size_t passed = 0, failed = 0;
  std::size_t refused = 0;            ///< cases that could not be read
  std::vector<std::string> untested;  ///< rules that no case puts to the test
};

/// Adds the rules of a file that no case puts to the test.
void addUntested(const CaseFile& file, const std::vector<CaseResult>& results, Tested& tested) {
  for (std::size_t rule = 0; rule < file.rules.size(); ++rule) {
    const auto tests = [rule](const CaseResult& result) {
      return rule < result.tested_rules.size() && result.tested_rules[rule];
    };
    if (std::none_of(results.begin(), results.end(), tests)) {
      tested.untested.push_back(file.file + ":" + std::to_string(file.rules[rule].line) +
                                ": no case puts the rule " + file.rules[rule].rule.name +
                                " to the test");
    }
  }
}

Tested runFiles(const TestOptions& options) {
  Tested tested;
  std::vector<CaseFile> files;
  const HAPDescriptions descriptions = configuredDescriptions().value_or(HAPDescriptions());
  for (const std::string& name : options.files) {
    CaseFile file = readCaseFile(name, descriptions);
    tested.refused += file.refused;
    if (!file.findings.empty()) {
      tested.unreadable.push_back(file);
    }
    files.push_back(std::move(file));
  }
  const auto results = runCases(files, options.jobs == 0 ? usualJobs() : options.jobs);
  for (std::size_t i = 0; i < files.size(); ++i) {
    tested.files.push_back({files[i].file, results[i]});
    addUntested(files[i], results[i], tested);
    const auto failed =
        std::count_if(results[i].begin(), results[i].end(),
                      [](const CaseResult& result) { return !result.differences.empty(); });
    tested.failed += static_cast<std::size_t>(failed);
    tested.passed += results[i].size() - static_cast<std::size_t>(failed);
  }
  tested.case_files = std::move(files);
  return tested;
}

void print(const Tested& tested) {
  for (const TestedFile& file : tested.files) {
    for (const CaseResult& result : file.cases) {
      print(file.file, result);
    }
  }
  for (const std::string& rule : tested.untested) {
    std::cout << paint(Colour::kYellow, "open") << ' ' << rule << '\n';
  }
  std::cout << tested.passed << " of " << tested.passed + tested.failed + tested.refused
            << " cases passed"
            << (tested.refused == 0 ? ""
                                    : ", " + std::to_string(tested.refused) + " could not be read")
            << '\n';
}

std::string jsonOf(const Tested& tested) {
  JsonWriter json(2);
  startOutput("test", json);
  json.key("passed").number(tested.passed).key("failed").number(tested.failed);
  json.texts("untested", tested.untested).key("files").beginArray();
  for (const CaseFile& file : tested.unreadable) {
    json.beginObject().member("file", file.file).key("errors").beginArray();
    for (const Finding& finding : file.findings) {
      json.beginObject().key("line").number(finding.line);
      json.member("message", finding.message).endObject();
    }
    json.endArray().endObject();
  }
  for (const TestedFile& file : tested.files) {
    json.beginObject().member("file", file.file).key("cases").beginArray();
    for (const CaseResult& result : file.cases) {
      json.beginObject().member("name", result.name).key("line").number(result.line);
      json.key("passed").boolean(result.differences.empty());
      json.texts("differences", result.differences).endObject();
    }
    json.endArray().endObject();
  }
  return json.endArray().endObject().taken() + '\n';
}

/// Puts faults into the tables of files whose cases all pass. Returns the exit status.
int testMutantsOf(const Tested& tested, const TestOptions& options) {
  int status = kExitOk;
  for (const CaseFile& file : tested.case_files) {
    const int of_file = printMutants(file, {options.jobs, options.max_states});
    status = status == kExitOk || of_file == kExitFindings ? of_file : status;
  }
  return status;
}

/// Prints the cases that are missing in the only file. Returns the exit status.
int writeMissing(const TestOptions& options) {
  if (options.files.size() != 1) {
    throw UsageError("--write-missing is for one case file");
  }
  const CaseFile file =
      readCaseFile(options.files[0], configuredDescriptions().value_or(HAPDescriptions()));
  if (!file.findings.empty()) {
    throw std::runtime_error(options.files[0] + ": " + file.findings[0].message +
                             "; see trxctl check");
  }
  return printMissing(file, options.max_states);
}

int test(const TestOptions& options) {
  if (options.write_missing) {
    return writeMissing(options);
  }
  const bool is_junit = options.format == kJunit;
  const OutputFile output(options.output,
                          {options.json ? ".json"
                           : is_junit   ? ".xml"
                                        : ".txt"},
                          options.files);
  if (output && !options.json && !is_junit) {
    throw UsageError("-o needs --format junit or --json");
  }
  const Tested tested = runFiles(options);
  const bool is_text = !output.isStandardOutput() && (output || (!options.json && !is_junit));
  for (const CaseFile& file : tested.unreadable) {
    print(file, is_text ? std::cout : std::cerr);
  }
  if (is_text) {
    print(tested);
  }
  if (options.json || is_junit) {
    const std::string text = options.json ? jsonOf(tested) : junitOf(tested.files);
    output ? output.write(text) : void(dataOutput() << text);
  }
  if (options.mutants && tested.unreadable.empty() && tested.failed == 0) {
    return testMutantsOf(tested, options);
  }
  const bool has_findings = tested.failed != 0 || (options.strict && !tested.untested.empty());
  return !tested.unreadable.empty() ? kExitFailed : has_findings ? kExitFindings : kExitOk;
}

void describeTest(CommandOptions& command) {
  auto options = std::make_shared<TestOptions>();
  command.texts(options->files, {"FILE", "Case files", "", {}, true});
  command.text(options->format,
               {"--format", "junit is what servers of builds show", "FORMAT", {kText, kJunit}});
  addOutputOptions(command, options->output,
                   {"-o,--output", "Write the JUnit or JSON there, and the text too", "FILE"});
  command.json(options->json);
  command.excludes("--json", {"--format"});
  command.number(options->jobs,
                 {"-j,--jobs", "Run so many processes; else one a processor", "COUNT"}, 1,
                 kMaxJobs);
  command.flag(options->strict,
               {"--strict", "Take a rule that no case puts to the test for an error"});
  command.flag(options->mutants,
               {"--mutants", "Put faults into the tables one by one; is each noticed by a case?"});
  command.flag(options->write_missing,
               {"--write-missing",
                "Print, as a case file, cases for the rows and branches that those there do not "
                "take"});
  command.excludes("--write-missing", {"--mutants", "--format", "--output", "--strict", "--json"});
  command.excludes("--mutants", {"--json", "--format"});
  command.number(options->max_states,
                 {"--max-states", "Look at no more states of a table, or pairs of them", "COUNT"},
                 1, kMaxPairsOfMutants);
  command.run([options] { return test(*options); });
}

const RegisteredCommand kTestCommand(
    {"test", Group::kTables,
     "Runs the cases of case files: what a table does when its HAPs do this",
     "A case file is a CSV file beside the tables; the table guide tells its rows.",
     "selftest.cases.csv", "all cases passed", "a case failed, broke a rule, or missed a fault"},
    describeTest);

}  // namespace
}  // namespace kw::trx::tools
