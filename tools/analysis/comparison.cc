// SPDX-License-Identifier: Apache-2.0
#include "analysis/comparison.h"

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <set>
#include <tuple>
#include <unordered_map>
#include <unordered_set>

#include "analysis/visible_run.h"

namespace kw::trx::tools {
namespace {

using ActionKind = Machine::Action::Kind;

constexpr std::uint32_t kNoFailing = 0;
/// Both have one that calls the same: which one makes no difference any more.
constexpr std::uint32_t kSame = 0xffffffff;
constexpr std::size_t kNoNode = static_cast<std::size_t>(-1);

/// Numbers for what rows call, from 1.
class CallNumbers {
 public:
  std::uint32_t of(const FlowRow& row) {
    const auto [known, is_new] = rows_.insert({&row, kNoFailing});
    if (is_new) {
      std::string text = row.name;
      known->second =
          numbers_.insert({text, static_cast<std::uint32_t>(texts_.size()) + 1}).first->second;
      if (known->second > texts_.size()) {
        texts_.push_back(std::move(text));
      }
    }
    return known->second;
  }

  const std::string& text(std::uint32_t number) const { return texts_[number - 1]; }

 private:
  std::unordered_map<const FlowRow*, std::uint32_t> rows_;
  std::map<std::string, std::uint32_t> numbers_;
  std::vector<std::string> texts_;
};

/// One set of tables, in a state.
struct Side {
  MachineState at;
  std::uint32_t failing = kNoFailing;  ///< number of what the first failing row calls
};

using Sides = std::array<Side, 2>;  // the old one and the new one

bool isSame(const Sides& a, const Sides& b) {
  return a[0].at == b[0].at && a[1].at == b[1].at && a[0].failing == b[0].failing &&
         a[1].failing == b[1].failing;
}

std::size_t hashOf(const Sides& sides) {
  std::uint64_t hash = 1469598103934665603U;
  for (const Side& side : sides) {
    for (const std::uint64_t part : {std::uint64_t{side.at.frame}, std::uint64_t{side.at.row},
                                     std::uint64_t{side.at.mark}, std::uint64_t{side.failing}}) {
      hash = (hash ^ part) * 0x9e3779b97f4a7c15U;
      hash ^= hash >> 29U;
    }
  }
  return static_cast<std::size_t>(hash);
}

/// What one set does next.
struct Deed {
  Machine::Action action;
  std::uint32_t failing = kNoFailing;
  std::size_t rows = 0;  ///< hash of the rows on the way

  bool goesOn() const {
    return action.kind == ActionKind::kCalls || action.kind == ActionKind::kWaits;
  }
};

std::string rowsText(const Deed& deed) {
  return deed.action.row == nullptr ? "ends" : "runs row " + deed.action.row->id.text();
}

std::string textOf(const Deed& deed) {
  switch (deed.action.kind) {
    case ActionKind::kCalls:
      return callText(*deed.action.row);
    case ActionKind::kWaits:
      return "waits " + std::to_string(deed.action.row->wait_ms) + " ms";
    default:
      return endText(deed.action);
  }
}

class Lockstep {
 public:
  Lockstep(const Program& old_program, const Program& new_program, const ComparisonOptions& options)
      : options_(options),
        machines_(
            {Machine(old_program, options.nest_limit), Machine(new_program, options.nest_limit)}),
        known_(0, Hash{this}, Equal{this}) {}

  Comparison run(int old_table, int new_table) {
    push({Side{machines_[0].start(old_table)}, Side{machines_[1].start(new_table)}}, kNoNode,
         Choice::kNone);
    for (std::size_t node = 0; node < nodes_.size(); ++node) {
      expand(node);
    }
    result_.states = nodes_.size();
    return result_;
  }

 private:
  /// What was chosen on the way to a pair of states.
  enum class Choice : std::uint8_t { kNone, kSuccess, kFailure, kOldAlone, kNewAlone };

  struct Node {
    Sides sides;
    std::size_t parent;
    Choice choice;
  };
  struct Hash {
    const Lockstep* owner;
    std::size_t operator()(std::size_t node) const { return hashOf(owner->nodes_[node].sides); }
  };
  struct Equal {
    const Lockstep* owner;
    bool operator()(std::size_t a, std::size_t b) const {
      return isSame(owner->nodes_[a].sides, owner->nodes_[b].sides);
    }
  };

  void push(Sides sides, std::size_t parent, Choice choice) {
    forgetSameFailing(sides);
    if (nodes_.size() >= options_.max_states) {
      result_.is_complete = false;
      return;
    }
    nodes_.push_back({sides, parent, choice});
    if (!known_.insert(nodes_.size() - 1).second) {
      nodes_.pop_back();
    }
  }

  static void forgetSameFailing(Sides& sides) {
    if (sides[0].failing == sides[1].failing && sides[0].failing != kNoFailing) {
      sides[0].failing = sides[1].failing = kSame;
    }
  }

  std::uint32_t failingAfter(std::uint32_t before, const FlowRow& row) {
    return before == kNoFailing && row.on_failure != Effect::kIgnored ? texts_.of(row) : before;
  }

  /// Moves a side to what it does next.
  Deed next(Side& side, Machine& machine) {
    Deed deed;
    const std::hash<std::string> hash;
    deed.action = machine.next(side.at, [&](const FlowRow& row, bool fails) {
      side.failing = fails ? failingAfter(side.failing, row) : side.failing;
      if (options_.rows) {
        deed.rows = deed.rows * 31 + hash(row.id.text() + ' ' + row.label);
      }
    });
    if (options_.rows && deed.goesOn()) {
      deed.rows = deed.rows * 31 + hash(deed.action.row->id.text() + ' ' + deed.action.row->label);
    }
    deed.failing = side.failing;
    return deed;
  }

  void expand(std::size_t node) {
    Sides sides = nodes_[node].sides;
    const Deed before = next(sides[0], machines_[0]);
    const Deed after = next(sides[1], machines_[1]);
    if (before.action.kind == ActionKind::kOpen || after.action.kind == ActionKind::kOpen) {
      result_.is_complete = false;
      return;
    }
    forgetSameFailing(sides);
    if (before.rows != after.rows) {
      add(Difference::Kind::kRows, node, before, after, rowsText(before), rowsText(after));
    }
    if (!before.goesOn() && !after.goesOn()) {
      compareEnds(node, before, after);
    } else if (doTheSame(before, after)) {
      compareCells(node, before, after);
      follow(node, sides, before);
    } else {
      const bool calls =
          before.action.kind == ActionKind::kCalls || after.action.kind == ActionKind::kCalls;
      add(calls ? Difference::Kind::kCalls : Difference::Kind::kWaits, node, before, after,
          textOf(before), textOf(after));
      followAlone(node, sides, before, after);
    }
  }

  /// Whether both call the same HAP, or both wait.
  static bool doTheSame(const Deed& a, const Deed& b) {
    return a.action.kind == b.action.kind &&
           (a.action.kind == ActionKind::kWaits || a.action.row->name == b.action.row->name);
  }

  void compareEnds(std::size_t node, const Deed& before, const Deed& after) {
    if (before.action.kind != after.action.kind) {
      add(Difference::Kind::kEnd, node, before, after, textOf(before), textOf(after));
    } else if (textOf(before) != textOf(after)) {
      add(Difference::Kind::kMessage, node, before, after, textOf(before), textOf(after));
    }
    const bool both_end =
        before.action.kind != ActionKind::kNever && after.action.kind != ActionKind::kNever;
    if (both_end && before.failing != after.failing) {
      add(Difference::Kind::kFailing, node, before, after, failingText(before.failing),
          failingText(after.failing));
    }
  }

  void compareCells(std::size_t node, const Deed& before, const Deed& after) {
    const FlowRow& old_row = *before.action.row;
    const FlowRow& new_row = *after.action.row;
    if (old_row.wait_ms != new_row.wait_ms) {
      add(Difference::Kind::kWaits, node, before, after, textOf(before), textOf(after));
    } else if (before.action.kind == ActionKind::kCalls && old_row.mode != new_row.mode) {
      add(Difference::Kind::kMode, node, before, after, textOf(before), textOf(after));
    } else if (before.action.kind == ActionKind::kCalls && old_row.para != new_row.para) {
      add(Difference::Kind::kWords, node, before, after, textOf(before), textOf(after));
    }
  }

  void follow(std::size_t node, const Sides& sides, const Deed& deed) {
    if (deed.action.kind == ActionKind::kWaits) {
      push({goneOn(sides, 0, false), goneOn(sides, 1, false)}, node, Choice::kNone);
      return;
    }
    for (const bool fails : {false, true}) {
      push({goneOn(sides, 0, fails), goneOn(sides, 1, fails)}, node,
           fails ? Choice::kFailure : Choice::kSuccess);
    }
  }

  /// Goes on where one of both does something more, when it does the same as the other one then.
  void followAlone(std::size_t node, const Sides& sides, const Deed& before, const Deed& after) {
    const std::array<const Deed*, 2> deeds = {&before, &after};
    for (const std::size_t more : {std::size_t{1}, std::size_t{0}}) {
      if (!deeds[more]->goesOn()) {
        continue;
      }
      Side alone = goneOn(sides, more, false);
      const Deed then = next(alone, machines_[more]);
      if (then.goesOn() && deeds[1 - more]->goesOn() && doTheSame(then, *deeds[1 - more])) {
        Sides both = sides;
        both[more] = alone;
        const bool calls = deeds[more]->action.kind == ActionKind::kCalls;
        push(both, node,
             !calls      ? Choice::kNone
             : more == 1 ? Choice::kNewAlone
                         : Choice::kOldAlone);
        return;
      }
    }
    if (before.goesOn() && after.goesOn()) {
      followOther(node, sides, before, after);
    }
  }

  /// Goes on where each does something else, when both do the same then.
  void followOther(std::size_t node, const Sides& sides, const Deed& before, const Deed& after) {
    Sides both = {goneOn(sides, 0, false), goneOn(sides, 1, false)};
    const Deed old_then = next(both[0], machines_[0]);
    const Deed new_then = next(both[1], machines_[1]);
    if (old_then.goesOn() && new_then.goesOn() && doTheSame(old_then, new_then)) {
      const bool old_calls = before.action.kind == ActionKind::kCalls;
      const bool new_calls = after.action.kind == ActionKind::kCalls;
      push(both, node,
           old_calls && new_calls ? Choice::kSuccess
           : old_calls            ? Choice::kOldAlone
                                  : Choice::kNewAlone);
    }
  }

  Side goneOn(const Sides& sides, std::size_t which, bool fails) {
    Side side = sides[which];
    side.failing =
        fails ? failingAfter(side.failing, machines_[which].rowOf(side.at)) : side.failing;
    machines_[which].goOn(side.at, fails);
    return side;
  }

  std::string failingText(std::uint32_t failing) const {
    return failing == kNoFailing ? "no failing row"
                                 : "a failing row of HAP " + texts_.text(failing);
  }

  void add(Difference::Kind kind, std::size_t node, const Deed& before, const Deed& after,
           const std::string& old_text, const std::string& new_text) {
    if (result_.differences.size() >= options_.max_differences ||
        !seen_.insert({kind, before.action.row, after.action.row, old_text, new_text}).second) {
      return;
    }
    Difference difference{kind, old_text, new_text, {}, {}};
    for (std::size_t at = node; at != kNoNode; at = nodes_[at].parent) {
      const Choice choice = nodes_[at].choice;
      if (choice != Choice::kNone && choice != Choice::kNewAlone) {
        difference.old_fails.push_back(choice == Choice::kFailure);
      }
      if (choice != Choice::kNone && choice != Choice::kOldAlone) {
        difference.new_fails.push_back(choice == Choice::kFailure);
      }
    }
    std::reverse(difference.old_fails.begin(), difference.old_fails.end());
    std::reverse(difference.new_fails.begin(), difference.new_fails.end());
    result_.differences.push_back(std::move(difference));
  }

  const ComparisonOptions& options_;
  std::array<Machine, 2> machines_;
  CallNumbers texts_;
  std::vector<Node> nodes_;
  std::unordered_set<std::size_t, Hash, Equal> known_;
  std::set<std::tuple<Difference::Kind, const FlowRow*, const FlowRow*, std::string, std::string>>
      seen_;
  Comparison result_;
};

}  // namespace

const char* nameOf(Difference::Kind kind) {
  switch (kind) {
    case Difference::Kind::kCalls:
      return "calls";
    case Difference::Kind::kMode:
      return "mode";
    case Difference::Kind::kWords:
      return "words";
    case Difference::Kind::kWaits:
      return "waits";
    case Difference::Kind::kEnd:
      return "end";
    case Difference::Kind::kMessage:
      return "message";
    case Difference::Kind::kFailing:
      return "first-failing";
    case Difference::Kind::kRows:
      break;
  }
  return "rows";
}

Comparison compare(const Program& old_program, int old_table, const Program& new_program,
                   int new_table, const ComparisonOptions& options) {
  return Lockstep(old_program, new_program, options).run(old_table, new_table);
}

}  // namespace kw::trx::tools
