// SPDX-License-Identifier: Apache-2.0
// Keeps the page of a report below its maximum size.
#include <algorithm>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "report/page.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kMaxAllSlices = 32768;  ///< of all requests together
constexpr std::size_t kMaxLines = 2048;
constexpr std::size_t kProblemBytes = 4000;
/// With so many halvings nothing is left of any list.
constexpr unsigned int kMaxSteps = 20;

/// Halves the bounds of one report, again with each step.
class Shrinker {
 public:
  explicit Shrinker(Report& report) : report_(report) {}

  void step() {
    ++steps_;
    keepLessFailures();
    keepLessRequests();
    while (report_.names.size() > bound(kMaxNames)) {
      report_.other_names += report_.names.back().durations.count();
      report_.names.pop_back();
    }
    report_.bounds.rows /= 2;
    report_.bounds.tables /= 2;
    report_.bounds.haps /= 2;
    lines_ += cut(report_.configuration.entries) + cut(report_.machine) + cut(report_.rings);
    std::string& problem = report_.configuration.problem;
    problem.resize(std::min(problem.size(), kProblemBytes));
    report_.left_out = sentences();
  }

  bool isDone() const { return steps_ == kMaxSteps; }

 private:
  std::size_t bound(std::size_t max) const { return max >> steps_; }

  /// Leaves the first ones; returns how many it removes.
  template <typename Line>
  std::size_t cut(std::vector<Line>& lines) const {
    const std::size_t left = std::min(lines.size(), bound(kMaxLines));
    const std::size_t removed = lines.size() - left;
    lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(left), lines.end());
    return removed;
  }

  void keepLessFailures() {
    while (report_.failures.size() > bound(kMaxGroups)) {
      report_.other_failures += report_.failures.back().count;
      report_.failures.pop_back();
    }
    for (FailureGroup& group : report_.failures) {
      KeptRecords& records = group.records;
      const std::size_t first =
          std::min(records.first.size(), std::max<std::size_t>(1, bound(kFirstRecords)));
      const std::size_t last = std::min(records.last.size(), bound(kLastRecords));
      records.left_out += records.first.size() - first + records.last.size() - last;
      records.first.resize(first);
      records.last.erase(records.last.begin(),
                         records.last.end() - static_cast<std::ptrdiff_t>(last));
      while (group.recent.size() > bound(kMaxRecent)) {
        group.recent.pop_front();
      }
    }
  }

  /// Leaves the last ones of the failures, then those without an end, then the latest.
  void keepLessRequests() {
    std::set<KeptRequestPtr> chosen;
    for (const FailureGroup& group : report_.failures) {
      chosen.insert(group.last);
    }
    std::size_t slices_left = bound(kMaxAllSlices);
    for (const bool is_open : {true, false}) {
      for (auto at = report_.kept.rbegin(); at != report_.kept.rend(); ++at) {
        const std::size_t size = 1 + std::min((*at)->spans.size(), bound(kMaxSlices));
        if (((*at)->request().ending == Ending::kOpen) == is_open && size <= slices_left &&
            chosen.insert(*at).second) {
          slices_left -= size;
        }
      }
    }
    std::vector<KeptRequestPtr> kept;
    for (const KeptRequestPtr& request : report_.kept) {
      if (chosen.count(request) != 0) {
        kept.push_back(trimmed(request));
        for (FailureGroup& group : report_.failures) {
          group.last = group.last == request ? kept.back() : group.last;
        }
      }
    }
    report_.kept = std::move(kept);
  }

  /// With its last slices alone.
  KeptRequestPtr trimmed(const KeptRequestPtr& request) const {
    const std::size_t max = bound(kMaxSlices);
    if (request->spans.size() <= max) {
      return request;
    }
    const std::size_t cut = request->spans.size() - max;
    const auto first = request->spans.begin() + static_cast<std::ptrdiff_t>(cut);
    return std::make_shared<const KeptRequest>(KeptRequest{
        request->summary, {first, request->spans.end()}, request->spans_left_out + cut});
  }

  std::vector<std::string> sentences() const {
    const auto text = [](std::size_t number) { return std::to_string(number); };
    std::vector<std::string> sentences{
        "With all that it could show the page would be larger than 5 MB. So it shows at most " +
        text(bound(kMaxGroups)) + " kinds of failures, " + text(bound(kMaxSlices)) +
        " steps of a request, " + text(bound(kFirstRecords) + bound(kLastRecords)) +
        " records of a failure, " + text(bound(kMaxAllSlices)) + " steps of all requests, " +
        text(bound(kMaxNames)) + " names of requests, " + text(report_.bounds.haps) + " HAPs, " +
        text(report_.bounds.tables) + " tables and " + text(report_.bounds.rows) +
        " rows of tables."};
    if (lines_ != 0) {
      sentences.push_back(
          "Left out of the lists of the configuration, the machine and the rings: " + text(lines_) +
          " lines.");
    }
    return sentences;
  }

  Report& report_;
  unsigned int steps_ = 0;
  std::size_t lines_ = 0;
};

}  // namespace

std::string boundedJsonOf(Report& report) {
  constexpr std::size_t max = kMaxPageBytes - kMaxPageOwnBytes;
  std::string json = jsonOf(report);
  for (Shrinker shrinker(report); json.size() > max && !shrinker.isDone();) {
    shrinker.step();
    json = jsonOf(report);
  }
  return json;
}

}  // namespace kw::trx::tools
