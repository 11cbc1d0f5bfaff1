// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <utility>

#include "common/processes.h"
#include "common/text.h"
#include "exploration/witness.h"
#include "running/name_hints.h"
#include "simulation/case_run.h"
#include "simulation/case_writer.h"
#include "tables/surroundings.h"
#include "trxctl/commands.h"
#include "trxctl/json.h"
#include "trxctl/text_output.h"

namespace kw::trx::tools {
namespace {

/// A case expects the rows of its run up to so many: longer lists are read by nobody.
constexpr std::size_t kRowsShown = 100;
constexpr std::size_t kMostNestLimit = 1000;
constexpr std::size_t kStates = 2000000;
constexpr std::size_t kMostStates = 1000000000;
constexpr std::size_t kUnlimited = 0xffffffff;
constexpr char kSubjectSeparator = '=';

struct ExploreOptions {
  std::vector<std::string> files;
  std::string table;
  std::vector<std::string> denied;
  std::vector<std::string> allowed;
  std::size_t most_calls = kUnlimited;
  std::size_t most_wait_ms = kUnlimited;
  std::size_t nest_limit = kTableNestLimit;
  std::size_t most_states = kStates;
  bool json = false;
};

/// True when one of `patterns`, each KIND or KIND=SUBJECT, is of the claim.
bool isNamed(const std::vector<std::string>& patterns, const Claim& claim) {
  const std::string kind = nameOf(claim.kind);
  return std::any_of(patterns.begin(), patterns.end(), [&](const std::string& pattern) {
    return pattern == kind || pattern == kind + kSubjectSeparator + claim.subject;
  });
}

std::string patternProblem(const std::string& pattern) {
  const std::string kind = pattern.substr(0, pattern.find(kSubjectSeparator));
  return claimKindFrom(kind)
             ? ""
             : "'" + kind + "' is no kind of claim" + didYouMean(kind, claimKinds());
}

/// The tables explored, and what came of them.
struct Result {
  Program program;
  std::vector<Exploration> explorations;
  std::vector<Claim> unreached;
};

class ExploreOutput {
 public:
  ExploreOutput(const ExploreOptions& options, const Result& result)
      : options_(options), result_(result) {}

  /// Prints all claims, with their witnesses as cases.
  int print() {
    if (options_.json) {
      json_.beginArray();
    } else {
      std::cout << tablesRow(options_.files);
    }
    for (const Exploration& exploration : result_.explorations) {
      print(exploration);
    }
    if (options_.json) {
      std::cout << json_.endArray().taken() << '\n';
    }
    return denied_ == 0 ? kExitOk : kExitFindings;
  }

 private:
  static constexpr int kIndent = 2;

  std::string tableName(const Exploration& exploration) const {
    return result_.program.tables[static_cast<std::size_t>(exploration.table)].flow->name;
  }

  void print(const Exploration& exploration) {
    const bool is_last = &exploration == &result_.explorations.back();
    if (options_.json) {
      json_.beginObject().member("table", tableName(exploration));
      json_.key("states").number(exploration.states);
      json_.key("complete").boolean(exploration.is_complete);
      printJson("calls", exploration.calls);
      printJson("waitMs", exploration.wait_ms);
      json_.key("claims").beginArray();
    } else {
      printSummary(exploration);
    }
    for (const Claim& claim : exploration.claims) {
      printClaim(exploration, claim);
    }
    for (std::size_t i = 0; is_last && i < result_.unreached.size(); ++i) {
      printClaim(exploration, result_.unreached[i]);
    }
    if (options_.json) {
      json_.endArray().endObject();
    }
  }

  void printSummary(const Exploration& exploration) const {
    const bool ends =
        std::none_of(exploration.claims.begin(), exploration.claims.end(),
                     [](const Claim& claim) { return claim.kind == Claim::Kind::kEndless; });
    std::cout << "\n# table " << tableName(exploration) << ": " << exploration.states << " states; "
              << (ends ? "every run ends" : "a run need not end") << "; HAP calls "
              << text(exploration.calls, "") << "; waits " << text(exploration.wait_ms, " ms")
              << '\n';
    if (!exploration.is_complete) {
      std::cout << "# " << paint(Colour::kYellow, "left open")
                << ": there are more states; what is said of all runs holds for these alone\n";
    }
  }

  static std::string text(const Bounds& bounds, const std::string& unit) {
    const std::string least = bounds.least ? std::to_string(*bounds.least) + unit : "-";
    const std::string most = bounds.is_unbounded ? "any number"
                             : bounds.most       ? std::to_string(*bounds.most) + unit
                                                 : "-";
    return least + " to " + most;
  }

  void printJson(const std::string& name, const Bounds& bounds) {
    json_.key(name).beginObject();
    if (bounds.least) {
      json_.key("least").number(*bounds.least);
    }
    if (bounds.most) {
      json_.key("most").number(*bounds.most);
    }
    json_.key("unbounded").boolean(bounds.is_unbounded).endObject();
  }

  bool isDenied(const Exploration& exploration, const Claim& claim) const {
    const bool too_much = (claim.kind == Claim::Kind::kCalls &&
                           exploration.calls.most.value_or(0) > options_.most_calls) ||
                          (claim.kind == Claim::Kind::kWait &&
                           exploration.wait_ms.most.value_or(0) > options_.most_wait_ms);
    return (isNamed(options_.denied, claim) && !isNamed(options_.allowed, claim)) ||
           (too_much && claim.subject == kMost);
  }

  void printClaim(const Exploration& exploration, const Claim& claim) {
    const bool denied = isDenied(exploration, claim);
    denied_ += denied ? 1 : 0;
    std::string rows;
    if (claim.witness) {
      TableCase witness = witnessCase(result_.program, exploration.table, claim);
      if (witness.rows->size() > kRowsShown) {
        witness.rows.reset();
      }
      rows = caseRows(witness, tableNameOf(options_.files[0]));
    }
    if (options_.json) {
      json_.beginObject().member("kind", nameOf(claim.kind)).member("subject", claim.subject);
      json_.member("words", claim.words).key("denied").boolean(denied);
      json_.member("case", rows).endObject();
      return;
    }
    const std::string kind = nameOf(claim.kind);
    std::cout << "\n# " << (denied ? paint(Colour::kRed, "error: " + kind) : kind) << ": "
              << claim.words << '\n'
              << rows;
  }

  const ExploreOptions& options_;
  const Result& result_;
  JsonWriter json_{kIndent};
  std::size_t denied_ = 0;
};

/// Lets the engine run all witnesses. Throws when it runs one otherwise.
void confirm(const Result& result, const ExploreOptions& options) {
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
      throw std::runtime_error("the engine does not confirm '" + claims[i].second->words +
                               "': " + differences[i][0] + "; this is a fault of trxctl");
    }
  }
}

int exploreTables(const ExploreOptions& options) {
  const KnownTables tables = readTables(options.files, {});
  if (!tables.refused.empty()) {
    return fail("the engine does not load the table " + *tables.refused.begin() +
                "; trxctl check tells why");
  }
  Result result;
  result.program = programOf(tables.flows);
  std::vector<int> entries = entriesOf(result.program);
  if (!options.table.empty()) {
    entries = {result.program.find(options.table)};
    if (entries[0] == kAbsent) {
      return fail("there is no table '" + options.table + "' in the files" +
                  tableHint(options.table, tables.names()));
    }
  }
  for (const int entry : entries) {
    result.explorations.push_back(explore(
        result.program, entry, static_cast<unsigned int>(options.nest_limit), options.most_states));
  }
  result.unreached = unreachedRows(result.program, result.explorations);
  confirm(result, options);
  return ExploreOutput(options, result).print();
}

}  // namespace

void addExploreCommand(CommandLine& line) {
  auto options = std::make_shared<ExploreOptions>();
  Command command = line.add(
      "explore", "Tells what holds for all runs of tables, whatever their HAPs do",
      "Follows every outcome of every HAP call, through called tables, and prints what can happen\n"
      "with the shortest run that shows it, as cases of a case file; the engine has run each.\n"
      "Without --table the tables that no other one calls are explored.\n"
      "Kinds: " +
          listed(claimKinds()) +
          ".\n"
          "Example: trxctl explore selftest.csv rails.csv --deny endless --deny swallowed\n"
          "Exit status: 0 nothing denied was found; 1 something was; 2 it could not be told.");
  command.texts(options->files, {"FILE", "Table files", "", {}, true});
  command.text(options->table, {"--table", "Explore this table alone", "NAME"});
  command.texts(options->denied,
                {"--deny",
                 "Take claims of this kind, or the one of this row or message, for errors; may be "
                 "repeated",
                 "KIND[=SUBJECT]",
                 {},
                 false,
                 patternProblem});
  command.texts(options->allowed, {"--allow",
                                   "Not these, though --deny names their kind; may be repeated",
                                   "KIND[=SUBJECT]",
                                   {},
                                   false,
                                   patternProblem});
  command.number(options->most_calls, {"--most-calls", "More HAP calls are an error", "COUNT"}, 0,
                 kUnlimited);
  command.number(options->most_wait_ms, {"--most-wait", "Longer waiting is an error", "MS"}, 0,
                 kUnlimited);
  command.number(options->nest_limit, {"--nest-limit", "As haptable.nest.exec.limit (10)", "LIMIT"},
                 0, kMostNestLimit);
  command.number(
      options->most_states,
      {"--most-states", "Look at no further calls beyond so many states (2000000)", "STATES"}, 1,
      kMostStates);
  command.flag(options->json, {"--json", "Print JSON"});
  command.run([options] { return exploreTables(*options); });
}

}  // namespace kw::trx::tools
