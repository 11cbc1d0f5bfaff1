// SPDX-License-Identifier: Apache-2.0
#include "coverage/coverage.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "common/paths.h"
#include "common/text.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

constexpr char kEndOfRecord[] = "end_of_record";
constexpr char kNotTaken[] = "-";

void writeFile(std::ostream& out, const std::string& name, const FileCoverage& file) {
  out << "TN:\nSF:" << name << '\n';
  for (const auto& [line, row] : file) {
    for (std::size_t branch = 0; row.branches && branch < row.branches->size(); ++branch) {
      out << "BRDA:" << line << ",0," << branch << ',';
      row.runs == 0 ? out << kNotTaken : out << (*row.branches)[branch];
      out << '\n';
    }
  }
  const CoverageSum sum = sumOf(file);
  out << "BRF:" << sum.branches << "\nBRH:" << sum.branches_taken << '\n';
  for (const auto& [line, row] : file) {
    out << "DA:" << line << ',' << row.runs << '\n';
  }
  out << "LF:" << sum.rows << "\nLH:" << sum.rows_run << '\n' << kEndOfRecord << '\n';
}

std::uint64_t numberIn(const std::vector<std::string>& fields, std::size_t field) {
  return field < fields.size() && fields[field] != kNotTaken
             ? std::strtoull(fields[field].c_str(), nullptr, trx::kDecimalBase)
             : 0;
}

std::vector<RowCounts> countsOf(const TableFlow& flow, const FileCoverage& file) {
  std::vector<RowCounts> counts(flow.rows.size());
  for (std::size_t at = 0; at < counts.size(); ++at) {
    const FlowRow& row = flow.rows[at];
    const auto line = file.find(row.line());
    if (line == file.end()) {
      continue;
    }
    counts[at].runs = counts[at].onward = line->second.runs;
    if (line->second.branches) {
      const auto& [well, badly] = *line->second.branches;
      counts[at].onward = well + (row.goesOnAfterFailure() ? badly : 0);
      counts[at].errors = row.goesOnAfterFailure() ? 0 : badly;
      counts[at].failures = badly;
      counts[at].unfinished = counts[at].runs - std::min(counts[at].runs, well + badly);
    } else if (row.endsWithMessage()) {
      counts[at].failures = counts[at].runs;
    }
  }
  return counts;
}

/// A called table may not come back: what goes on behind a TABLE row is what runs there and did not
/// jump there.
void countReturns(const TableFlow& flow, std::vector<RowCounts>& counts) {
  std::vector<std::uint64_t> jumps(counts.size());
  for (std::size_t at = 0; at < counts.size(); ++at) {
    if (flow.rows[at].jump >= 0) {
      jumps[static_cast<std::size_t>(flow.rows[at].jump)] += counts[at].errors;
    }
  }
  for (std::size_t at = 0; at + 1 < counts.size(); ++at) {
    if (flow.rows[at].command == Command::kTable) {
      counts[at].onward =
          counts[at + 1].runs > jumps[at + 1] ? counts[at + 1].runs - jumps[at + 1] : 0;
      counts[at].unfinished = counts[at].runs - std::min(counts[at].runs, counts[at].onward);
    }
  }
}

}  // namespace

FileCoverage emptyCoverage(const TableFlow& flow) {
  FileCoverage file;
  for (const FlowRow& row : flow.rows) {
    LineCoverage& line = file[row.line()];
    if (row.canFail()) {
      line.branches.emplace();
    }
  }
  return file;
}

void merge(Coverage& into, const Coverage& from) {
  for (const auto& [name, file] : from) {
    for (const auto& [line, row] : file) {
      LineCoverage& sum = into[name][line];
      sum.runs += row.runs;
      if (row.branches) {
        sum.branches = sum.branches.value_or(std::array<std::uint64_t, 2>{});
        (*sum.branches)[kBranchSucceeded] += (*row.branches)[kBranchSucceeded];
        (*sum.branches)[kBranchFailed] += (*row.branches)[kBranchFailed];
      }
    }
  }
}

CoverageSum sumOf(const FileCoverage& file) {
  CoverageSum sum;
  for (const auto& [line, row] : file) {
    ++sum.rows;
    sum.rows_run += row.runs == 0 ? 0 : 1;
    for (std::size_t branch = 0; row.branches && branch < row.branches->size(); ++branch) {
      ++sum.branches;
      sum.branches_taken += row.runs == 0 || (*row.branches)[branch] == 0 ? 0 : 1;
    }
  }
  return sum;
}

std::string lcovOf(const Coverage& coverage) {
  std::ostringstream out;
  for (const auto& [name, file] : coverage) {
    writeFile(out, name, file);
  }
  return out.str();
}

bool isCoverageFile(const std::string& file) {
  std::ifstream in(file);
  std::string first;
  std::getline(in, first);
  return first.rfind("TN:", 0) == 0 || first.rfind("SF:", 0) == 0;
}

Coverage readCoverage(const std::string& path) {
  std::ifstream in(path);
  if (!in) {
    throw std::runtime_error(path + ": " + std::strerror(errno));
  }
  Coverage coverage;
  FileCoverage* file = nullptr;
  for (std::string record; std::getline(in, record);) {
    const std::size_t colon = record.find(':');
    const std::string kind = record.substr(0, colon);
    const std::string rest = colon == std::string::npos ? "" : record.substr(colon + 1);
    const std::vector<std::string> fields = partsOf(rest, ',');
    const auto line = static_cast<unsigned int>(numberIn(fields, 0));
    if (kind == "SF") {
      file = &coverage[rest];
    } else if (file != nullptr && kind == "DA" && fields.size() > 1) {
      (*file)[line].runs += numberIn(fields, 1);
    } else if (file != nullptr && kind == "BRDA" && fields.size() > 3 && numberIn(fields, 2) < 2) {
      auto& branches = (*file)[line].branches;
      branches = branches.value_or(std::array<std::uint64_t, 2>{});
      (*branches)[static_cast<std::size_t>(numberIn(fields, 2))] += numberIn(fields, 3);
    }
  }
  if (coverage.empty()) {
    throw std::runtime_error(path + ": names no source file, as a file of LCOV does");
  }
  return coverage;
}

GraphCounts graphCountsOf(const TableFlows& tables, const Coverage& coverage) {
  GraphCounts counts;
  for (const auto& [name, flow] : tables) {
    const auto file = coverage.find(absolutePath(flow.file));
    if (file != coverage.end()) {
      counts[name] = countsOf(flow, file->second);
      countReturns(flow, counts[name]);
    }
  }
  return counts;
}

}  // namespace kw::trx::tools
