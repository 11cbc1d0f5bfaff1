// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "cases/case_run.h"
#include "command_line/output_file.h"
#include "command_line/ring_reading.h"
#include "command_line/text_output.h"
#include "commands/commands.h"
#include "common/paths.h"
#include "configuration/configuration.h"
#include "coverage/row_counter.h"
#include "table/environment.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kPercent = 100;

struct CoverageOptions {
  std::vector<std::string> files;
  OutputOptions output;
  std::size_t least = 0;
  FilterOptions requests;
};

/// Adds what the cases of a file run, whether they pass or not.
void addCases(const std::string& name, Coverage& coverage) {
  const CaseFile file = readCaseFile(name);
  if (!file.findings.empty()) {
    throw std::runtime_error(name + ": " + file.findings[0].message + "; see trxctl check");
  }
  const Simulator simulator(file.tables, file.nest_limit);
  RowCounter counter(simulator.tables());
  for (const TableCase& one : file.cases) {
    differencesOf(one, simulator, &counter);
  }
  merge(coverage, counter.coverage());
}

/// Adds what the hosts of a ring ran of `tables`.
void addRing(const std::string& name, const TableFlows& tables, const FilterOptions& requests,
             Coverage& coverage) {
  const RequestFilter filter = filterOf(requests, {name});
  RowCounter counter(tables);
  FilteredRequests filtered(filter, counter);
  RequestReader reader(filtered);
  if (reader.open(name) != 0) {
    throw std::runtime_error(name + ": " +
                             (errno == EINVAL
                                  ? "is neither a case file, a trace ring nor a file of "
                                    "LCOV"
                                  : std::strerror(errno)));
  }
  if (readRings(reader, {name}, false) != kExitOk) {
    throw std::runtime_error(name + " could not be read to its end");
  }
  sayLeftOut(counter.leftOut());
  merge(coverage, counter.coverage());
  for (const auto& [table, rows] : counter.unknown()) {
    std::cerr << "trxctl: " << name << ": " << notFoundText(table, rows) << '\n';
  }
}

std::string share(std::size_t part, std::size_t whole) {
  return std::to_string(part) + " of " + std::to_string(whole);
}

/// Prints what has run of each file. Returns the percentage of all rows that has, rounded down.
std::size_t printSummary(const Coverage& coverage, std::ostream& out) {
  CoverageSum all;
  for (const auto& [name, file] : coverage) {
    const CoverageSum sum = sumOf(file);
    out << name << ": " << share(sum.rows_run, sum.rows) << " rows, "
        << share(sum.branches_taken, sum.branches) << " branches\n";
    for (const auto& [line, row] : file) {
      if (row.runs == 0) {
        out << "  line " << line << " never ran\n";
      } else if (row.branches && ((*row.branches)[kBranchSucceeded] == 0) !=
                                     ((*row.branches)[kBranchFailed] == 0)) {
        out << "  line " << line
            << ((*row.branches)[kBranchSucceeded] == 0 ? " never went well\n" : " never failed\n");
      }
    }
    all.rows += sum.rows;
    all.rows_run += sum.rows_run;
  }
  return all.rows == 0 ? kPercent : kPercent * all.rows_run / all.rows;
}

/// The tables among `files`, which leave it; else those of the configuration.
TableFlows takeTables(std::vector<std::string>& files) {
  const auto tables =
      std::stable_partition(files.begin(), files.end(), [](const std::string& file) {
        TableFlow flow;
        return isCaseFile(file) || !readFlow(file, flow);
      });
  const std::vector<std::string> given(tables, files.end());
  files.erase(tables, files.end());
  return readTables(given, given.empty() ? configured().tables : std::vector<std::string>()).flows;
}

int cover(CoverageOptions options) {
  const OutputFile output(options.output, {".info", ".lcov"}, options.files);
  const TableFlows tables = takeTables(options.files);
  Coverage coverage;
  for (const auto& [name, flow] : tables) {
    coverage[absolutePath(flow.file)] = emptyCoverage(flow);
  }
  for (const std::string& file : options.files) {
    if (isCaseFile(file)) {
      addCases(file, coverage);
    } else if (isCoverageFile(file)) {
      merge(coverage, readCoverage(file));
    } else {
      addRing(file, tables, options.requests, coverage);
    }
  }
  if (output) {
    output.write(lcovOf(coverage));
  }
  std::ostream& summary = output.isStandardOutput() ? std::cerr : std::cout;
  return printSummary(coverage, summary) >= options.least ? kExitOk : kExitFindings;
}

}  // namespace

void addCoverageCommand(CommandLine& line) {
  auto options = std::make_shared<CoverageOptions>();
  CommandOptions command = line.add(
      "coverage", "Tells which rows of tables ran, in cases and in hosts, and which never failed",
      "Files may be case files, trace rings, files that this command wrote, and the tables of the\n"
      "rings; else their tables are those of the configuration. All are added up.\n"
      "Example: trxctl coverage selftest.cases.csv -o tables.info\n"
      "Exit status: 0 done; 1 fewer rows ran than --least says; 2 a file cannot be read.");
  command.texts(options->files, {"FILE", "Case files, rings, coverage and tables", "", {}, true});
  addOutputOptions(command, options->output,
                   {"-o,--output", "Write it for genhtml and for trxctl graph --coverage", "FILE"});
  command.number(options->least, {"--least", "Ask for so many percent of all rows", "PERCENT"}, 0,
                 kPercent);
  addFilterOptions(command, options->requests);
  addRequestOption(command, options->requests);
  command.run([options] { return cover(*options); });
}

}  // namespace kw::trx::tools
