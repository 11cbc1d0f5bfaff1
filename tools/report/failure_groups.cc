// SPDX-License-Identifier: Apache-2.0
#include "report/failure_groups.h"

#include <algorithm>

#include "common/text.h"
#include "report/bounds.h"
#include "traces/codes.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kTimesMost = 64;

/// What equal failures have in common: all but the id of the request, which some events name.
std::string keyOf(const RequestSummary& request) {
  const RequestFailure failure = request.failure.value_or(RequestFailure());
  std::string event = failure.event;
  const std::string id = hexText(request.request);
  if (const std::size_t at = event.find(id); request.request != 0 && at != std::string::npos) {
    event.erase(at, id.size());
  }
  std::string key;
  for (const std::string& part :
       {std::string(nameOf(request.end)), std::string(request.is_table ? "table" : "HAP"),
        request.name, failure.table, failure.row, failure.hap, hexText(failure.code),
        std::string(failure.thrown ? "thrown" : ""), event, request.ended_by}) {
    key.append(part).push_back('\0');
  }
  return key;
}

}  // namespace

void FailureGroups::take(const KeptRequestPtr& request, KeptRecords&& records,
                         const FailureTimes& times) {
  const RequestSummary& summary = request->summary;
  const std::string key = keyOf(summary);
  auto found = groups_.find(key);
  if (found == groups_.end()) {
    if (groups_.size() == kGroupsMost) {
      ++others_;
      return;
    }
    found = groups_.emplace(key, FailureGroup(times.begin_ns, kTimesMost)).first;
    found->second.first_ns = summary.end_ns;
    found->second.well_before_ns = times.well_before_ns;
  }
  FailureGroup& group = found->second;
  ++group.count;
  group.last_ns = summary.end_ns;
  ++group.times.at(summary.end_ns).count;
  group.recent.push_back({request->ring, summary});
  if (group.recent.size() > kRecentMost) {
    group.recent.pop_front();
  }
  group.last = request;
  group.records = std::move(records);
}

void FailureGroups::takeWell(const RequestSummary& request) {
  std::uint64_t& well_ns = well_ns_[{request.is_table, request.name}];
  well_ns = std::max(well_ns, request.end_ns);
}

std::uint64_t FailureGroups::wellNs(bool is_table, const std::string& name) const {
  const auto found = well_ns_.find({is_table, name});
  return found == well_ns_.end() ? 0 : found->second;
}

std::vector<FailureGroup> FailureGroups::taken() {
  std::vector<FailureGroup> all;
  for (auto& [key, group] : groups_) {
    const RequestSummary& request = group.last->summary;
    const std::uint64_t well_ns = wellNs(request.is_table, request.name);
    group.well_after_ns = well_ns > group.last_ns ? well_ns : 0;
    all.push_back(std::move(group));
  }
  groups_.clear();
  std::stable_sort(all.begin(), all.end(), [](const FailureGroup& a, const FailureGroup& b) {
    return a.count != b.count ? a.count > b.count : a.last_ns > b.last_ns;
  });
  return all;
}

std::string codeMeaningOf(const RequestFailure& failure, const CodeMeaning& meaning) {
  if (failure.code == 0) {
    return {};
  }
  const bool of_record = !failure.hap.empty() && !failure.thrown;
  std::string described = of_record ? meaning(failure.hap, failure.code) : std::string();
  if (!described.empty()) {
    return described;
  }
  const CodeText* const known = findCode(failure.code);
  return of_record          ? recordCodeMeaning(failure.code)
         : known == nullptr ? std::string()
                            : known->meaning;
}

}  // namespace kw::trx::tools
