// SPDX-License-Identifier: Apache-2.0
#include "analysis/witness.h"

#include <map>
#include <utility>

#include "analysis/row_claims.h"
#include "cases/case_words.h"
#include "simulator/row_outcomes.h"

namespace kw::trx::tools {
namespace {

/// So often an endless run must go round before it is believed.
constexpr std::size_t kRounds = 3;

HAPOutcome outcomeOf(bool fails) {
  HAPOutcome outcome;
  outcome.kind = fails ? HAPOutcome::Kind::kFailure : HAPOutcome::Kind::kSuccess;
  return outcome;
}

class WitnessWriter {
 public:
  WitnessWriter(const Program& program, int entry, const Claim& claim)
      : program_(program), entry_(entry), path_(*claim.witness) {
    case_.table = flowOf(entry).name;
    case_.name = case_.table + ": " + claim.message;
    case_.first_failing = kFirstNone;
  }

  TableCase write() {
    case_.rows.emplace();
    for (std::size_t i = 0; i < path_.rows.size(); ++i) {
      take(path_.rows[i], path_.isEndless() && i >= path_.repeats_from);
    }
    for (const auto& [place, outcomes] : outcomes_) {
      addRules(place, outcomes);
    }
    case_.end = endOf(path_.rows.back());
    if (path_.isEndless()) {
      case_.end->kind = ExpectedEnd::Kind::kNever;
      case_.end->message.reset();
    } else {
      case_.wait_ms = wait_ms_;
    }
    return case_;
  }

 private:
  using Place = std::pair<int, std::size_t>;  // table and row

  const TableFlow& flowOf(int table) const {
    return *program_.tables[static_cast<std::size_t>(table)].flow;
  }
  const FlowRow& rowOf(const PathRow& at) const { return program_.rowOf(at.table, at.row); }

  void take(const PathRow& at, bool repeats) {
    const std::string name = rowNameOf(program_, at.table, at.row, entry_);
    const FlowRow& row = rowOf(at);
    case_.rows->push_back(name);
    wait_ms_ += row.wait_ms;
    const bool fails = at.choice == Step::Choice::kFailure;
    if (fails && row.on_failure != Effect::kIgnored && case_.first_failing == kFirstNone) {
      case_.first_failing = name;
    }
    if (at.choice != Step::Choice::kNone && row.can_succeed) {
      RowOutcomes& outcomes = outcomes_[{at.table, at.row}];
      (repeats ? outcomes.again : outcomes.calls).push_back(outcomeOf(fails));
    }
  }

  void addRules(const Place& place, const RowOutcomes& outcomes) {
    const RowId& row = program_.rowOf(place.first, place.second).id;
    const CallPattern where{"", row.table, row.number};
    const std::vector<OutcomeRule> rules = rulesOf(where, outcomes);
    case_.outcomes.insert(case_.outcomes.end(), rules.begin(), rules.end());
  }

  ExpectedEnd endOf(const PathRow& last) const {
    const FlowRow& row = rowOf(last);
    ExpectedEnd end;
    const bool is_ok = row.endsTable() && !row.endsWithMessage();
    end.kind = is_ok ? ExpectedEnd::Kind::kOk : ExpectedEnd::Kind::kError;
    if (row.endsWithMessage()) {
      end.message = row.name;
    }
    return end;
  }

  const Program& program_;
  const int entry_;
  const RunPath& path_;
  TableCase case_{};
  std::map<Place, RowOutcomes> outcomes_;
  std::uint64_t wait_ms_ = 0;
};

}  // namespace

TableCase witnessCase(const Program& program, int entry, const Claim& claim) {
  return WitnessWriter(program, entry, claim).write();
}

TableCase confirmingCase(const Program& program, int entry, const Claim& claim) {
  TableCase run = witnessCase(program, entry, claim);
  const RunPath& path = *claim.witness;
  run.max_rows = path.rows.size() + 1;
  if (path.isEndless()) {
    const std::size_t round = path.rows.size() - path.repeats_from;
    for (std::size_t i = 0; i < (kRounds - 1) * round; ++i) {
      run.rows->push_back((*run.rows)[path.repeats_from + i]);
    }
    run.max_rows = run.rows->size();
  }
  return run;
}

}  // namespace kw::trx::tools
