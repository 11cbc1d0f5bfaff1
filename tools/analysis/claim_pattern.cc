// SPDX-License-Identifier: Apache-2.0
#include "analysis/claim_pattern.h"

#include <algorithm>
#include <set>
#include <stdexcept>

#include "cases/case_file.h"
#include "common/characters.h"
#include "common/text.h"
#include "simulator/rules.h"

namespace kw::trx::tools {
namespace {

constexpr char kSubjectSeparator = '=';

bool isOfRow(Claim::Kind kind) {
  switch (kind) {
    case Claim::Kind::kEndless:
    case Claim::Kind::kStuck:
    case Claim::Kind::kFinds:
    case Claim::Kind::kFindsOther:
    case Claim::Kind::kUnreached:
    case Claim::Kind::kSwallowed:
    case Claim::Kind::kRecovered:
    case Claim::Kind::kFails:
      return true;
    default:
      return false;
  }
}

/// "; did you mean A?" with the row of this NUMBER in a table that no run begins with.
std::string hintOfNumber(const std::string& number, const TableFlows& tables) {
  for (const auto& [name, flow] : tables) {
    for (const FlowRow& row : flow.rows) {
      if (row.id.number == hexNumber(number)) {
        return "; did you mean " + row.id.text() + "?";
      }
    }
  }
  return {};
}

std::string rowSubject(const std::string& text, const TableFlows& tables,
                       const std::vector<std::string>& entries) {
  std::string problem = "no table is explored";
  for (const std::string& entry : entries) {
    try {
      const auto row = rowPatternFrom(text, entry, tables);
      if (!row) {
        throw std::invalid_argument(inQuotes(text) + " is no row: write NUMBER or TABLE/NUMBER");
      }
      const bool names_table = hexNumber(text) == std::nullopt;
      return RowId{row->table, *row->number}.text(names_table ? "" : row->table);
    } catch (const std::invalid_argument& none) {
      problem = none.what();
    }
  }
  if (entries.size() > 1 && hexNumber(text)) {
    problem = "no row of the tables explored has the NUMBER " + text;
  }
  throw std::invalid_argument(problem + hintOfNumber(text, tables));
}

/// What a claim of a kind that names no row can be of, by all rows of `tables`.
std::set<std::string> subjectsOf(Claim::Kind kind, const TableFlows& tables) {
  if (kind == Claim::Kind::kCalls || kind == Claim::Kind::kWait) {
    return {kMin, kMax};
  }
  const Command command = kind == Claim::Kind::kMessage ? Command::kEnd : Command::kTable;
  std::set<std::string> subjects;
  for (const auto& [name, flow] : tables) {
    for (const FlowRow& row : flow.rows) {
      if (row.command == command && !row.name.empty() && kind != Claim::Kind::kNeverSucceeds) {
        subjects.insert(row.name);
      }
    }
  }
  return subjects;
}

std::string plainSubject(Claim::Kind kind, const std::string& text, const TableFlows& tables) {
  if (kind == Claim::Kind::kRule || kind == Claim::Kind::kUntested) {
    return text;  // its rules are not among the tables
  }
  const std::set<std::string> subjects = subjectsOf(kind, tables);
  if (subjects.count(text) != 0) {
    return text;
  }
  const std::string hint = didYouMean(text, {subjects.begin(), subjects.end()});
  switch (kind) {
    case Claim::Kind::kMessage:
      throw std::invalid_argument("no END row has the message " + inQuotes(text) + hint);
    case Claim::Kind::kNeverSucceeds:
      throw std::invalid_argument(std::string(nameOf(kind)) +
                                  " is said of whole tables: write it alone");
    case Claim::Kind::kCalls:
    case Claim::Kind::kWait:
      throw std::invalid_argument(inQuotes(text) + " is neither " + kMin + " nor " + kMax + hint);
    default:
      throw std::invalid_argument("no TABLE row calls a table " + inQuotes(text) + hint);
  }
}

}  // namespace

bool ClaimPattern::matches(const Claim& claim, const std::string& entry) const {
  return kind == claim.kind &&
         (!subject || *subject == claim.subject ||
          (isOfRow(kind) && *subject == entry + kRowSeparator + claim.subject));
}

ClaimPattern claimPatternFrom(const std::string& text, const TableFlows& tables,
                              const std::vector<std::string>& entries) {
  const std::string problem = claimKindProblem(text);
  if (!problem.empty()) {
    throw std::invalid_argument(problem);
  }
  const std::size_t separator = text.find(kSubjectSeparator);
  const Claim::Kind kind = *claimKindFrom(text.substr(0, separator));
  if (separator == std::string::npos) {
    return {kind, std::nullopt};
  }
  const std::string subject = text.substr(separator + 1);
  return {kind, isOfRow(kind) ? rowSubject(subject, tables, entries)
                              : plainSubject(kind, subject, tables)};
}

std::string claimKindProblem(const std::string& text) {
  const std::string kind = text.substr(0, text.find(kSubjectSeparator));
  return claimKindFrom(kind)
             ? ""
             : "'" + kind + "' is no kind of claim" + didYouMean(kind, claimKinds());
}

}  // namespace kw::trx::tools
