// SPDX-License-Identifier: Apache-2.0
#include "commands/explore_output.h"

#include <algorithm>
#include <iostream>

#include "analysis/witness.h"
#include "cases/case_writer.h"
#include "command_line/text_output.h"
#include "common/json.h"
#include "common/text.h"

namespace kw::trx::tools {
namespace {

/// A case expects the rows of its run up to so many: longer lists are read by nobody.
constexpr std::size_t kRowsShown = 100;
constexpr int kIndent = 2;
constexpr std::size_t kMaxDeniedShown = 20;

const std::string& tableName(const ExplorationResult& result, const Exploration& exploration) {
  return result.program.tables[static_cast<std::size_t>(exploration.table)].flow->name;
}

/// True when there is more of something than an option allows.
bool isAbove(const Bounds& bounds, std::size_t max) {
  return max != ExploreOptions::kUnlimited && (bounds.is_unbounded || bounds.max.value_or(0) > max);
}

bool isDenied(const ExploreOptions& options, const ExplorationResult& result,
              const Exploration& exploration, const Claim& claim) {
  // Rows that no run gets to are named as by runs of the first table.
  const bool is_unreached = claim.kind == Claim::Kind::kUnreached;
  const std::string& entry = tableName(result, is_unreached ? result.explorations[0] : exploration);
  const auto is_named = [&](const std::vector<ClaimPattern>& patterns) {
    return std::any_of(patterns.begin(), patterns.end(),
                       [&](const ClaimPattern& pattern) { return pattern.matches(claim, entry); });
  };
  const bool too_much =
      (claim.kind == Claim::Kind::kCalls && isAbove(exploration.calls, options.max_calls)) ||
      (claim.kind == Claim::Kind::kWait && isAbove(exploration.wait_ms, options.max_wait_ms));
  return (is_named(result.denied) && !is_named(result.allowed)) ||
         (too_much && claim.subject == kMax);
}

/// The claims of an exploration; the rows that none of them reaches come behind those of the last.
std::vector<Claim> claimsOf(const ExplorationResult& result, const Exploration& exploration) {
  std::vector<Claim> claims = exploration.claims;
  if (&exploration == &result.explorations.back()) {
    claims.insert(claims.end(), result.unreached.begin(), result.unreached.end());
  }
  return claims;
}

/// The witness of a claim as rows of a case file; empty: it has none.
std::string rowsOfWitness(const ExploreOptions& options, const ExplorationResult& result,
                          const Exploration& exploration, const Claim& claim) {
  if (!claim.witness) {
    return "";
  }
  TableCase witness = witnessCase(result.program, exploration.table, claim);
  if (witness.rows->size() > kRowsShown) {
    witness.rows.reset();
  }
  return caseRows(witness, tableNameOf(options.files[0]));
}

std::string text(const Bounds& bounds, const std::string& unit) {
  const std::string min = bounds.min ? amountText(*bounds.min) + unit : "-";
  const std::string max = bounds.is_unbounded ? "any number"
                          : bounds.max        ? amountText(*bounds.max) + unit
                                              : "-";
  return min + " to " + max;
}

void printSummary(const ExplorationResult& result, const Exploration& exploration) {
  const bool ends =
      std::none_of(exploration.claims.begin(), exploration.claims.end(),
                   [](const Claim& claim) { return claim.kind == Claim::Kind::kEndless; });
  dataOutput() << "\n# table " << tableName(result, exploration) << ": " << exploration.states
               << " states; ";
  if (!exploration.is_complete) {
    dataOutput() << paint(Colour::kYellow, "left open")
                 << ": there are more; what follows is what single runs do\n";
    return;
  }
  dataOutput() << (ends ? "every run ends" : "a run need not end") << "; HAP calls "
               << text(exploration.calls, "") << "; waits " << text(exploration.wait_ms, " ms")
               << '\n';
  if (!exploration.has_all_cycles) {
    dataOutput() << "# " << paint(Colour::kYellow, "left open")
                 << ": more rows than these may run for ever\n";
  }
}

void writeBounds(JsonWriter& json, const std::string& name, const Bounds& bounds) {
  json.key(name).beginObject();
  if (bounds.min) {
    json.key("min").number(*bounds.min);
  }
  if (bounds.max) {
    json.key("max").number(*bounds.max);
  }
  json.key("unbounded").boolean(bounds.is_unbounded).endObject();
}

void writeClaim(JsonWriter& json, const Claim& claim, bool denied, const std::string& rows) {
  json.beginObject().member("kind", nameOf(claim.kind)).member("subject", claim.subject);
  json.member("message", claim.message).key("denied").boolean(denied);
  json.member("case", rows).endObject();
}

}  // namespace

bool isLeftOpen(const ExplorationResult& result) {
  return result.are_rules_open ||
         std::any_of(
             result.explorations.begin(), result.explorations.end(),
             [](const Exploration& one) { return !one.is_complete || !one.has_all_cycles; });
}

std::size_t printExploration(const ExploreOptions& options, const ExplorationResult& result) {
  std::vector<std::string> denied_claims;
  dataOutput() << tablesRows(options.files, static_cast<unsigned int>(options.nest_limit));
  for (const Exploration& exploration : result.explorations) {
    printSummary(result, exploration);
    for (const Claim& claim : claimsOf(result, exploration)) {
      const bool denied = isDenied(options, result, exploration, claim);
      const std::string kind = nameOf(claim.kind);
      if (denied) {
        denied_claims.push_back(kind + (claim.subject.empty() ? "" : "=" + claim.subject));
      }
      dataOutput() << "\n# " << (denied ? paint(Colour::kRed, "error: " + kind) : kind) << ": "
                   << claim.message << '\n'
                   << rowsOfWitness(options, result, exploration, claim);
    }
  }
  if (result.are_rules_open) {
    dataOutput() << "\n# " << paint(Colour::kYellow, "left open")
                 << ": there are more states than those by which the rules are judged\n";
  }
  if (!options.denied.empty() || !denied_claims.empty()) {
    dataOutput() << "\n# denied: "
                 << (denied_claims.empty()
                         ? isLeftOpen(result)
                               ? "nothing was found so far, and the rest is left open"
                               : "nothing was found"
                         : listed(denied_claims, kMaxDeniedShown))
                 << '\n';
  }
  return denied_claims.size();
}

std::size_t printExplorationJson(const ExploreOptions& options, const ExplorationResult& result) {
  std::size_t count = 0;
  JsonWriter json{kIndent};
  startOutput("explore", json);
  json.key("tables").beginArray();
  for (const Exploration& exploration : result.explorations) {
    json.beginObject().member("table", tableName(result, exploration));
    json.key("states").number(exploration.states);
    json.key("complete").boolean(exploration.is_complete && exploration.has_all_cycles);
    writeBounds(json, "calls", exploration.calls);
    writeBounds(json, "waitMs", exploration.wait_ms);
    json.key("claims").beginArray();
    for (const Claim& claim : claimsOf(result, exploration)) {
      const bool denied = isDenied(options, result, exploration, claim);
      count += denied ? 1 : 0;
      writeClaim(json, claim, denied, rowsOfWitness(options, result, exploration, claim));
    }
    json.endArray().endObject();
  }
  std::cout << json.endArray().endObject().taken() << '\n';
  return count;
}

}  // namespace kw::trx::tools
