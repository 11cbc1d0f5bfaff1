// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <functional>
#include <memory>
#include <set>
#include <stdexcept>
#include <utility>

#include "analysis/rule_claims.h"
#include "analysis/witness.h"
#include "cases/case_run.h"
#include "command_line/command_line.h"
#include "command_line/text_output.h"
#include "commands/explore_output.h"
#include "common/processes.h"
#include "common/text.h"
#include "table/environment.h"
#include "table/named_files.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kMaxStates = 1000000000;

/// The patterns that `option` gives. Throws in words when one names what is not there.
std::vector<ClaimPattern> patternsOf(const std::string& option,
                                     const std::vector<std::string>& texts,
                                     const TableFlows& tables, const Texts& entries) {
  std::vector<ClaimPattern> patterns;
  for (const std::string& text : texts) {
    try {
      patterns.push_back(claimPatternFrom(text, tables, entries));
    } catch (const std::invalid_argument& problem) {
      std::string message = option;
      throw std::invalid_argument(
          message.append(" ").append(text).append(": ").append(problem.what()));
    }
  }
  return patterns;
}

/// Lets the engine run all witnesses. Throws when it runs one otherwise.
void confirm(const ExplorationResult& result, const ExploreOptions& options) {
  std::vector<std::pair<int, const Claim*>> claims;
  for (const Exploration& exploration : result.explorations) {
    for (const Claim& claim : exploration.claims) {
      if (claim.witness) {
        claims.emplace_back(exploration.table, &claim);
      }
    }
  }
  std::unique_ptr<Simulator> simulator;  // each process has its own
  const std::vector<Texts> differences =
      inProcesses(claims.size(), usualJobs(), [&](std::size_t number) {
        if (simulator == nullptr) {
          simulator = std::make_unique<Simulator>(options.files,
                                                  static_cast<unsigned int>(options.nest_limit));
        }
        const auto& [entry, claim] = claims[number];
        return differencesOf(confirmingCase(result.program, entry, *claim), *simulator);
      });
  for (std::size_t i = 0; i < claims.size(); ++i) {
    if (!differences[i].empty()) {
      throw std::runtime_error("the engine does not confirm '" + claims[i].second->message +
                               "': " + differences[i][0] + "; this is a fault of trxctl");
    }
  }
}

/// The tables to begin with among those named, which are `given`: no other one calls them.
std::vector<int> entriesAmong(const std::set<std::string>& given, const Program& program) {
  std::vector<int> entries = entriesOf(program);
  const auto is_other = [&](int entry) {
    return given.count(program.tables[static_cast<std::size_t>(entry)].flow->name) == 0;
  };
  entries.erase(std::remove_if(entries.begin(), entries.end(), is_other), entries.end());
  return entries;
}

/// The rules of the case file that --rules names. Throws with a message.
std::vector<LineOfRule> rulesOf(const ExploreOptions& options) {
  if (options.rules.empty()) {
    return {};
  }
  CaseFile file = readCaseFile(options.rules);
  if (!file.findings.empty()) {
    throw std::runtime_error(options.rules + ": " + file.findings[0].message +
                             "; see trxctl check");
  }
  return file.rules;
}

/// Refuses patterns of rules that are not there: what allows a rule must not go quiet.
void requireRules(const std::vector<ClaimPattern>& patterns, const std::vector<LineOfRule>& rules) {
  for (const ClaimPattern& pattern : patterns) {
    const bool is_of_rule =
        pattern.kind == Claim::Kind::kRule || pattern.kind == Claim::Kind::kUntested;
    const auto has_name = [&](const LineOfRule& one) { return one.rule.name == pattern.subject; };
    if (is_of_rule && pattern.subject && std::none_of(rules.begin(), rules.end(), has_name)) {
      throw std::invalid_argument("there is no rule '" + *pattern.subject + "'");
    }
  }
}

/// Judges the rules by all runs. Broken ones are denied, untested ones with --strict.
void judgeRules(ExplorationResult& result, const ExploreOptions& options,
                const std::vector<LineOfRule>& rules) {
  requireRules(result.denied, rules);
  requireRules(result.allowed, rules);
  std::vector<bool> tested(rules.size());
  for (Exploration& exploration : result.explorations) {
    const RuleClaims judged =
        ruleClaims(result.program, exploration, static_cast<unsigned int>(options.nest_limit),
                   options.max_states, rules);
    exploration.claims.insert(exploration.claims.end(), judged.claims.begin(), judged.claims.end());
    result.are_rules_open = result.are_rules_open || !judged.is_complete;
    std::transform(tested.begin(), tested.end(), judged.tested.begin(), tested.begin(),
                   std::logical_or<>());
  }
  if (!result.are_rules_open) {
    const std::vector<Claim> untested = untestedClaims(rules, tested);
    result.unreached.insert(result.unreached.end(), untested.begin(), untested.end());
  }
  result.denied.push_back({Claim::Kind::kRule, std::nullopt});
  if (options.strict) {
    result.denied.push_back({Claim::Kind::kUntested, std::nullopt});
  }
}

int exploreTables(ExploreOptions options) {
  options.files = namedFiles(options.files);
  std::set<std::string> given;
  for (const std::string& file : options.files) {
    given.insert(tableNameOf(file));
  }
  addCalledTables(options.files);
  const KnownTables tables = readTables(options.files, {});
  if (!tables.refused.empty()) {
    return fail("the engine does not load the table " + *tables.refused.begin() +
                "; trxctl check tells why");
  }
  const std::vector<LineOfRule> rules = rulesOf(options);
  ExplorationResult result;
  result.program = programOf(tables.flows);
  std::vector<int> entries = entriesAmong(given, result.program);
  if (!options.table.empty()) {
    entries = {result.program.find(options.table)};
    if (entries[0] == kAbsent) {
      return fail("there is no table '" + options.table + "' in the files" +
                  tableHint(options.table, tables.names()));
    }
  }
  Texts names;
  for (const int entry : entries) {
    names.push_back(result.program.tables[static_cast<std::size_t>(entry)].flow->name);
  }
  result.denied = patternsOf("--deny", options.denied, tables.flows, names);
  result.allowed = patternsOf("--allow", options.allowed, tables.flows, names);
  for (const int entry : entries) {
    result.explorations.push_back(explore(
        result.program, entry, static_cast<unsigned int>(options.nest_limit), options.max_states));
  }
  result.unreached = unreachedRows(result.program, result.explorations);
  judgeRules(result, options, rules);
  confirm(result, options);
  const std::size_t denied =
      options.json ? printExplorationJson(options, result) : printExploration(options, result);
  return denied != 0 ? kExitFindings : isLeftOpen(result) ? kExitFailed : kExitOk;
}

void describeExplore(CommandOptions& command) {
  auto options = std::make_shared<ExploreOptions>();
  command.texts(options->files,
                {"TABLE", "Table files, or names of configured tables", "", {}, true});
  command.text(options->table, {"--table", "Explore this table alone", "NAME"});
  command.texts(options->denied,
                {"--deny",
                 "Take claims of this kind, or the one of this row or message, for errors",
                 "KIND[=SUBJECT]",
                 {},
                 false,
                 claimKindProblem});
  command.texts(options->allowed, {"--allow",
                                   "Not these, though --deny names their kind",
                                   "KIND[=SUBJECT]",
                                   {},
                                   false,
                                   claimKindProblem});
  command.number(options->max_calls, {"--max-calls", "More HAP calls are an error", "COUNT"}, 0,
                 ExploreOptions::kUnlimited);
  command.number(options->max_wait_ms, {"--max-wait", "Longer waiting is an error", "MS"}, 0,
                 ExploreOptions::kUnlimited);
  command.number(options->nest_limit, {"--max-nesting", "As haptable.nest.exec.limit", "COUNT"}, 0,
                 kMaxNestLimit);
  command.number(options->max_states,
                 {"--max-states", "Look at no further calls beyond so many states", "COUNT"}, 1,
                 kMaxStates);
  command.text(options->rules, {"--rules", "Judge the rules of this case file", "FILE"});
  command.flag(options->strict,
               {"--strict", "Take a rule that no run puts to the test for an error"});
  command.json(options->json);
  command.run([options] { return exploreTables(*options); });
}

const RegisteredCommand kExploreCommand(
    {"explore", Group::kTables, "Tells what holds for all runs of tables, whatever their HAPs do",
     std::string(
         "Follows every outcome of every HAP call, through called tables, and prints what can "
         "happen with the shortest run that shows it, as cases of a case file; the engine has run "
         "each. Without --table those of the given tables that no other one calls are explored. "
         "Called tables are looked for in the configuration too. Kinds: ") +
         listed(claimKinds()) + ".",
     "selftest.csv rails.csv --deny endless --deny swallowed", "nothing denied was found",
     "something denied was found"},
    describeExplore);

}  // namespace
}  // namespace kw::trx::tools
