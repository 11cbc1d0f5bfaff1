// SPDX-License-Identifier: Apache-2.0
// Which lines of table files have run, and how their rows went on.
#ifndef KW_TRX_TOOLS_COVERAGE_COVERAGE_H_
#define KW_TRX_TOOLS_COVERAGE_COVERAGE_H_

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "table/flow.h"

namespace kw::trx::tools {

/// One row, which is known by its line.
struct LineCoverage {
  std::uint64_t runs = 0;
  /// Of a HAP row: how often it succeeded and failed. Of a CHECK row: how often it found no
  /// failure, and one.
  std::optional<std::array<std::uint64_t, 2>> branches;
};
constexpr std::size_t kBranchSucceeded = 0;
constexpr std::size_t kBranchFailed = 1;

/// The rows of one table file by their lines, as an editor counts.
using FileCoverage = std::map<unsigned int, LineCoverage>;

/// By the whole path of the file.
using Coverage = std::map<std::string, FileCoverage>;

/// The rows of a table that has not run.
FileCoverage emptyCoverage(const TableFlow& flow);

/// Adds up.
void merge(Coverage& into, const Coverage& from);

/// What has run of what there is.
struct CoverageSum {
  std::size_t rows = 0, rows_run = 0, branches = 0, branches_taken = 0;
};
CoverageSum sumOf(const FileCoverage& file);

/// The coverage in the form of LCOV (geninfo(1), "Files"), which genhtml draws.
std::string lcovOf(const Coverage& coverage);

/// Reads a file of that form, as far as `lcovOf` writes it; other records are skipped. Throws
/// `std::runtime_error` in words when it cannot be read or is no such file.
Coverage readCoverage(const std::string& file);

/// True when the file begins as one of that form.
bool isCoverageFile(const std::string& file);

/// What is known of the runs of a row, for a picture of its table.
struct RowCounts {
  std::uint64_t runs = 0;
  std::uint64_t onward = 0;      ///< to the next row
  std::uint64_t errors = 0;      ///< by a jump, or to the error end
  std::uint64_t failures = 0;    ///< runs that failed, or of a CHECK row found a failure
  std::uint64_t unfinished = 0;  ///< runs whose end is not known
  std::string note = {};         ///< further lines of its box
};

/// By table, for each of its rows.
using GraphCounts = std::map<std::string, std::vector<RowCounts>>;

/// The counts of those tables whose file `coverage` knows.
GraphCounts graphCountsOf(const TableFlows& tables, const Coverage& coverage);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COVERAGE_COVERAGE_H_
