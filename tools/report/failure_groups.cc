// SPDX-License-Identifier: Apache-2.0
#include "report/failure_groups.h"

#include <algorithm>
#include <limits>

#include "common/text.h"
#include "trace/codes.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kMaxTimes = 64;
constexpr std::size_t kMaxSuccesses = 16;  // remembered of a name

/// What equal failures have in common: all but the id of the request, which some events name.
std::string keyOf(const Request& request) {
  const Failure& failure = request.failure;
  std::string event = failure.event;
  const std::string id = hexText(request.id);
  if (const std::size_t at = event.find(id); request.id != 0 && at != std::string::npos) {
    event.erase(at, id.size());
  }
  const auto row_of = [](const std::optional<RowId>& row) { return row ? rowText(*row) : ""; };
  std::string key;
  for (const std::string& part :
       {std::string(nameOf(request.ending)), std::string(request.isTable() ? "table" : "HAP"),
        request.name, row_of(request.first_failing), failure.hap, hexText(failure.code),
        std::to_string(static_cast<int>(failure.cause)), event, row_of(request.ended_by)}) {
    key.append(part).push_back('\0');
  }
  return key;
}

}  // namespace

void FailureGroups::add(const KeptRequestPtr& request, KeptRecords&& records,
                        std::uint64_t start_ns) {
  const Request& ended = request->request();
  const std::string key = keyOf(ended);
  auto found = groups_.find(key);
  if (found == groups_.end()) {
    if (groups_.size() == kMaxGroups) {
      ++others_;
      return;
    }
    found = groups_.emplace(key, FailureGroup(start_ns, kMaxTimes)).first;
    found->second.first_ns = ended.end_ns;
    found->second.succeeded_before_ns = lastSuccessNs(ended, ended.start_ns);
  }
  FailureGroup& group = found->second;
  ++group.count;
  group.last_ns = ended.end_ns;
  ++group.times.at(ended.end_ns);
  group.recent.push_back(ended);
  if (group.recent.size() > kMaxRecent) {
    group.recent.pop_front();
  }
  group.last = request;
  group.records = std::move(records);
}

void FailureGroups::addSuccess(const Request& request) {
  std::deque<std::uint64_t>& ends_ns = successes_ns_[{request.kind, request.name}];
  ends_ns.push_back(request.end_ns);
  if (ends_ns.size() > kMaxSuccesses) {
    ends_ns.pop_front();
  }
}

std::uint64_t FailureGroups::lastSuccessNs(const Request& request, std::uint64_t until_ns) const {
  std::uint64_t last_ns = 0;
  const auto found = successes_ns_.find({request.kind, request.name});
  if (found != successes_ns_.end()) {
    for (const std::uint64_t end_ns : found->second) {
      last_ns = end_ns <= until_ns ? std::max(last_ns, end_ns) : last_ns;
    }
  }
  return last_ns;
}

std::vector<FailureGroup> FailureGroups::groups() {
  std::vector<FailureGroup> all;
  for (auto& [key, group] : groups_) {
    const std::uint64_t success_ns =
        lastSuccessNs(group.last->request(), std::numeric_limits<std::uint64_t>::max());
    group.succeeded_after_ns = success_ns > group.last_ns ? success_ns : 0;
    all.push_back(std::move(group));
  }
  groups_.clear();
  std::stable_sort(all.begin(), all.end(), [](const FailureGroup& a, const FailureGroup& b) {
    return a.count != b.count ? a.count > b.count : a.last_ns > b.last_ns;
  });
  return all;
}

}  // namespace kw::trx::tools
