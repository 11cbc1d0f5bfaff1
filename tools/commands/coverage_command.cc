// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "cases/case_run.h"
#include "command_line/command_line.h"
#include "command_line/output_file.h"
#include "command_line/ring_reading.h"
#include "command_line/text_output.h"
#include "common/json.h"
#include "common/paths.h"
#include "configuration/configuration.h"
#include "coverage/row_counter.h"
#include "table/environment.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kPercent = 100;

struct CoverageOptions {
  std::vector<std::string> files, tables;
  OutputOptions output;
  std::size_t min_rows = 0;
  bool json = false;
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

/// A sentence on a row whose runs leave something open; empty: none.
std::string gapText(const LineCoverage& row) {
  if (row.runs == 0) {
    return "never ran";
  }
  const bool has_both = !row.branches || ((*row.branches)[kBranchSucceeded] == 0) ==
                                             ((*row.branches)[kBranchFailed] == 0);
  return has_both                                 ? ""
         : (*row.branches)[kBranchSucceeded] == 0 ? "never succeeded"
                                                  : "never failed";
}

void printSummary(const Coverage& coverage, std::ostream& out) {
  for (const auto& [name, file] : coverage) {
    const CoverageSum sum = sumOf(file);
    out << name << ": " << share(sum.rows_run, sum.rows) << " rows, "
        << share(sum.branches_taken, sum.branches) << " branches\n";
    for (const auto& [line, row] : file) {
      const std::string gap = gapText(row);
      out << (gap.empty() ? "" : "  line " + std::to_string(line) + ' ' + gap + '\n');
    }
  }
}

void printJson(const Coverage& coverage, std::size_t percent) {
  JsonWriter json(2);
  startOutput("coverage", json);
  json.key("rowsPercent").number(percent).key("files").beginArray();
  for (const auto& [name, file] : coverage) {
    const CoverageSum sum = sumOf(file);
    json.beginObject().member("file", name);
    json.key("rows").number(sum.rows).key("rowsRun").number(sum.rows_run);
    json.key("branches").number(sum.branches).key("branchesTaken").number(sum.branches_taken);
    json.key("gaps").beginArray();
    for (const auto& [line, row] : file) {
      if (const std::string gap = gapText(row); !gap.empty()) {
        json.beginObject().key("line").number(line).member("message", gap).endObject();
      }
    }
    json.endArray().endObject();
  }
  std::cout << json.endArray().endObject().taken() << '\n';
}

/// The percentage of all rows that has run, rounded down.
std::size_t percentOf(const Coverage& coverage) {
  CoverageSum all;
  for (const auto& [name, file] : coverage) {
    const CoverageSum sum = sumOf(file);
    all.rows += sum.rows;
    all.rows_run += sum.rows_run;
  }
  return all.rows == 0 ? kPercent : kPercent * all.rows_run / all.rows;
}

int cover(const CoverageOptions& options) {
  const OutputFile output(options.output, {".info", ".lcov"}, options.files);
  const TableFlows tables =
      readTables(tableFilesOf(options.tables),
                 options.tables.empty() ? configured().tables : std::vector<std::string>())
          .flows;
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
  const std::size_t percent = percentOf(coverage);
  if (options.json) {
    printJson(coverage, percent);
  } else {
    printSummary(coverage, output.isStandardOutput() ? std::cerr : std::cout);
  }
  return percent >= options.min_rows ? kExitOk : kExitFindings;
}

void describeCoverage(CommandOptions& command) {
  auto options = std::make_shared<CoverageOptions>();
  command.texts(options->files,
                {"FILE", "Case files, rings, and files that this command wrote", "", {}, true});
  addTables(command, options->tables);
  addOutputOptions(command, options->output,
                   {"-o,--output", "Write it for genhtml and for trxctl graph", "FILE"});
  command.number(options->min_rows,
                 {"--min-rows", "Ask for so many percent of all rows", "PERCENT"}, 0, kPercent);
  addFilterOptions(command, options->requests);
  command.json(options->json);
  command.run([options] { return cover(*options); });
}

const RegisteredCommand kCoverageCommand(
    {"coverage", Group::kTables,
     "Tells which rows of tables ran, in cases and in hosts, and which never failed",
     "Files are case files, trace rings, and files that this command wrote. All are added up.",
     "selftest.cases.csv -o tables.info", "it is told", "fewer rows ran than --min-rows says"},
    describeCoverage);

}  // namespace
}  // namespace kw::trx::tools
