// SPDX-License-Identifier: Apache-2.0
#include "trace/changes.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace kw::trx::tools {
namespace {

constexpr std::uint64_t kMinDifferenceNs = 50000;
constexpr double kFactor = 1.5;
constexpr std::size_t kCallsForTail = 300;  // so that three of them lie behind the 99th percentile
constexpr unsigned int kMedian = 50, kTail = 99;

bool hasGrown(std::uint64_t before_ns, std::uint64_t now_ns) {
  return now_ns > before_ns && now_ns - before_ns >= kMinDifferenceNs &&
         static_cast<double>(now_ns) >= kFactor * static_cast<double>(before_ns);
}

bool isSlower(const WorkFigures& before, const WorkFigures& now) {
  const bool tails = before.own.count() >= kCallsForTail && now.own.count() >= kCallsForTail;
  return before.own.count() != 0 &&
         (hasGrown(before.own.quantile(kMedian), now.own.quantile(kMedian)) ||
          (tails && hasGrown(before.own.quantile(kTail), now.own.quantile(kTail))));
}

bool failsMore(const WorkFigures& before, const WorkFigures& now) {
  const auto share = [](const WorkFigures& figures) {
    return static_cast<double>(figures.failures) / static_cast<double>(figures.calls);
  };
  return before.calls != 0 && now.calls != 0 && now.failures != 0 &&
         share(now) >= kFactor * share(before);
}

/// How much time the change costs.
double weightOf(const Change& change) {
  const double now = change.now == nullptr ? 0 : static_cast<double>(change.now->own.sum());
  const double calls = change.now == nullptr ? 0 : static_cast<double>(change.now->own.count());
  const bool comparable = change.before != nullptr && change.before->own.count() != 0;
  return comparable ? now - calls * static_cast<double>(change.before->own.quantile(kMedian)) : now;
}

/// Sorts by kind and weight. A HAP weighs as much as the heaviest row that calls it, and comes
/// first.
void sortChanges(std::vector<Change>& changes) {
  const auto is_hap = [](const Change& change) { return change.work.isHAP(); };
  std::map<std::pair<Change::Kind, std::string>, double> heaviest;
  for (const Change& change : changes) {
    if (is_hap(change) || change.work.command == Command::kHAP) {
      const double weight = weightOf(change);
      double& most =
          heaviest.emplace(std::pair(change.kind, change.work.name), weight).first->second;
      most = std::max(most, weight);
    }
  }
  const auto place = [&](const Change& change) {
    const double weight =
        is_hap(change) ? heaviest.at({change.kind, change.work.name}) : weightOf(change);
    return std::tuple(change.kind, -weight, !is_hap(change));
  };
  std::stable_sort(changes.begin(), changes.end(),
                   [&](const Change& a, const Change& b) { return place(a) < place(b); });
}

}  // namespace

std::vector<Change> changesBetween(const Statistics& before, const Statistics& now) {
  std::vector<Change> changes;
  for (const auto& [work, figures] : now.all()) {
    const auto old = before.all().find(work);
    if (old == before.all().end()) {
      changes.push_back({Change::Kind::kNew, work, nullptr, &figures});
      continue;
    }
    const auto add = [&](bool is, Change::Kind kind) {
      if (is) {
        changes.push_back({kind, old->first, &old->second, &now.all().at(old->first)});
      }
    };
    add(isSlower(old->second, figures), Change::Kind::kSlower);
    add(failsMore(old->second, figures), Change::Kind::kFailsMore);
    add(isSlower(figures, old->second), Change::Kind::kFaster);
    add(failsMore(figures, old->second), Change::Kind::kFailsLess);
  }
  for (const auto& [work, figures] : before.all()) {
    if (now.all().count(work) == 0) {
      changes.push_back({Change::Kind::kGone, work, &figures, nullptr});
    }
  }
  sortChanges(changes);
  return changes;
}

Unchanged unchangedBetween(const Statistics& before, const Statistics& now,
                           const std::vector<Change>& changes) {
  std::set<Work> told;
  for (const Change& change : changes) {
    told.insert(change.work);
  }
  Unchanged out;
  for (const auto& [work, figures] : now.all()) {
    const auto old = before.all().find(work);
    if (old == before.all().end() || told.count(work) != 0) {
      continue;
    }
    const bool unended = (figures.own.count() == 0) != (old->second.own.count() == 0);
    ++(work.isHAP() ? (unended ? out.unended_haps : out.haps)
                    : (unended ? out.unended_rows : out.rows));
  }
  return out;
}

bool isWorse(Change::Kind kind) {
  return kind == Change::Kind::kSlower || kind == Change::Kind::kFailsMore;
}

const char* nameOf(Change::Kind kind) {
  switch (kind) {
    case Change::Kind::kSlower:
      return "slower";
    case Change::Kind::kFailsMore:
      return "fails more";
    case Change::Kind::kFaster:
      return "faster";
    case Change::Kind::kFailsLess:
      return "fails less";
    case Change::Kind::kNew:
      return "new";
    default:
      return "gone";
  }
}

}  // namespace kw::trx::tools
