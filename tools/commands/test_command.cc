// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include "command_line/output_file.h"
#include "command_line/text_output.h"
#include "commands/commands.h"
#include "commands/junit.h"
#include "common/processes.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kMaxJobs = 1000;

struct TestOptions {
  std::vector<std::string> files;
  OutputOptions junit;
  std::size_t jobs = usualJobs();
};

void print(const CaseFile& file) {
  for (const Finding& finding : file.findings) {
    std::cout << file.file;
    if (finding.line != 0) {
      std::cout << ':' << finding.line << " (" << finding.column << ')';
    }
    std::cout << ": " << paint(Colour::kRed, "error") << ": " << finding.message << '\n';
  }
}

void print(const CaseFile& file, const CaseResult& result) {
  const bool passed = result.differences.empty();
  std::cout << (passed ? paint(Colour::kGreen, "ok  ") : paint(Colour::kRed, "FAIL")) << ' '
            << file.file << ':' << result.line << ": " << result.name << '\n';
  for (const std::string& difference : result.differences) {
    std::cout << "       " << difference << '\n';
  }
}

int test(const TestOptions& options) {
  const OutputFile junit(options.junit, {".xml"}, options.files);
  bool unreadable = false;
  std::vector<CaseFile> files;
  for (const std::string& name : options.files) {
    files.push_back(readCaseFile(name));
    print(files.back());
    if (!files.back().findings.empty()) {
      unreadable = true;
      files.pop_back();
    }
  }
  const auto results = runCases(files, options.jobs);
  std::size_t failed = 0;
  std::size_t run = 0;
  std::vector<TestedFile> tested;
  for (std::size_t i = 0; i < files.size(); ++i) {
    tested.push_back({files[i].file, results[i]});
    for (const CaseResult& result : results[i]) {
      print(files[i], result);
      failed += result.differences.empty() ? 0 : 1;
      ++run;
    }
  }
  std::cout << run - failed << " of " << run << " cases passed\n";
  if (junit) {
    junit.write(junitOf(tested));
  }
  return unreadable ? kExitFailed : failed != 0 ? kExitFindings : kExitOk;
}

}  // namespace

void addTestCommand(CommandLine& line) {
  auto options = std::make_shared<TestOptions>();
  CommandOptions command =
      line.add("test", "Runs the cases of case files: what a table does when its HAPs do this",
               "A case file is a CSV file beside the tables; the table guide tells its rows.\n"
               "Example: trxctl test selftest.cases.csv\n"
               "Exit status: 0 all cases passed; 1 one failed; 2 a file could not be run.");
  command.texts(options->files, {"FILE", "Case files", "", {}, true});
  addOutputOptions(command, options->junit, {"--junit", "Write the results as JUnit XML", "FILE"});
  command.number(options->jobs,
                 {"-j,--jobs", "Run so many processes; else one a processor", "COUNT"}, 1,
                 kMaxJobs);
  command.run([options] { return test(*options); });
}

}  // namespace kw::trx::tools
