// SPDX-License-Identifier: Apache-2.0
#include "traces/changes.h"

#include <algorithm>

namespace kw::trx::tools {
namespace {

constexpr std::uint64_t kLeastDifferenceNs = 50000;
constexpr double kFactor = 1.5;
constexpr std::size_t kCallsForTail = 300;  // so that three of them lie behind the 99th percentile
constexpr unsigned int kMedian = 50, kTail = 99;

bool hasGrown(std::uint64_t before_ns, std::uint64_t now_ns) {
  return now_ns > before_ns && now_ns - before_ns >= kLeastDifferenceNs &&
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
  std::stable_sort(changes.begin(), changes.end(), [](const Change& a, const Change& b) {
    return a.kind != b.kind ? a.kind < b.kind : weightOf(a) > weightOf(b);
  });
  return changes;
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
