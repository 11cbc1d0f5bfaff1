// SPDX-License-Identifier: Apache-2.0
// Case files: what HAPs do in a run of a table, and what is expected of the run.
#ifndef KW_TRX_TOOLS_CASES_CASE_FILE_H_
#define KW_TRX_TOOLS_CASES_CASE_FILE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cases/rule.h"
#include "modules/descriptions.h"
#include "simulator/rules.h"
#include "table/finding.h"

namespace kw::trx::tools {

/// A HAP that is called, or a row that calls one, so often with these cells.
struct ExpectedCall {
  CallPattern where;
  std::string text;                   ///< `where` as written
  std::string para;                   ///< empty: any
  std::string mode;                   ///< empty: any
  std::optional<unsigned int> times;  ///< none: at least once
};

struct ExpectedEnd {
  enum class Kind { kOk, kError, kException, kNever };
  Kind kind = Kind::kOk;
  std::optional<std::string> message;  ///< of the table
  std::optional<unsigned int> code;    ///< of the exception
};

/// One run and what is expected of it; what is not given is not looked at.
struct TableCase {
  std::string name;
  unsigned int line;  ///< of its CASE row
  std::string table;
  std::vector<std::string> units;
  std::vector<OutcomeRule> outcomes;
  /// NUMBER or TABLE/NUMBER, in their order; the first ones of a run that never ends.
  std::optional<std::vector<std::string>> rows;
  std::optional<ExpectedEnd> end;
  std::optional<std::string> first_failing;  ///< such a row
  std::vector<ExpectedCall> calls;
  std::optional<std::uint64_t> wait_ms;
  /// Where its run is taken for one that never ends.
  std::size_t max_rows = SimulationRequest().max_rows;

  bool expectsSomething() const {
    return rows || end || first_failing || !calls.empty() || wait_ms;
  }
};

/// A rule, and where it stands.
struct LineOfRule {
  Rule rule;
  unsigned int line;
};

struct CaseFile {
  std::string file;
  std::vector<std::string> tables;  ///< files, from the working folder
  unsigned int nest_limit = kTableNestLimit;
  std::vector<LineOfRule> rules;  ///< for the runs of all cases
  std::vector<TableCase> cases;   ///< those of whose rows none is refused
  std::size_t refused = 0;        ///< other cases
  std::vector<Finding> findings;  ///< errors
};

/// True when `file` can be read and its first row with text is one of a case file.
bool isCaseFile(const std::string& file);

/// Reads a case file and the tables that it names. Refuses error codes that a HAP, by its
/// description, does not record, unless they are written as undescribed.
CaseFile readCaseFile(const std::string& file, const HAPDescriptions& descriptions = {});

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_CASES_CASE_FILE_H_
