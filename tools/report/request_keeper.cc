// SPDX-License-Identifier: Apache-2.0
#include "report/request_keeper.h"

#include <algorithm>
#include <tuple>

namespace kw::trx::tools {
namespace {

constexpr std::size_t kSlicesMost = 4000;
constexpr std::size_t kFailedSlicesMost = 2500;
constexpr std::size_t kLongestMost = 20;

}  // namespace

void RequestKeeper::Newest::take(const KeptRequestPtr& request, std::size_t most) {
  requests.push_back(request);
  slices += request->slices.size() + 1;
  while (slices > most && requests.size() > 1) {
    slices -= requests.front()->slices.size() + 1;
    requests.pop_front();
  }
}

void RequestKeeper::take(const KeptRequestPtr& request) {
  all_.take(request, kSlicesMost);
  if (isFailure(request->summary.end)) {
    failed_.take(request, kFailedSlicesMost);
  }
  const std::uint64_t duration_ns = request->summary.end_ns - request->summary.begin_ns;
  if (longest_.size() < kLongestMost || duration_ns > longest_.begin()->first) {
    longest_.emplace(duration_ns, request);
    if (longest_.size() > kLongestMost) {
      longest_.erase(longest_.begin());
    }
  }
}

std::vector<KeptRequestPtr> RequestKeeper::taken(const std::vector<KeptRequestPtr>& others) {
  std::vector<KeptRequestPtr> kept = others;
  kept.insert(kept.end(), all_.requests.begin(), all_.requests.end());
  kept.insert(kept.end(), failed_.requests.begin(), failed_.requests.end());
  for (const auto& one : longest_) {
    kept.push_back(one.second);
  }
  std::sort(kept.begin(), kept.end());
  kept.erase(std::unique(kept.begin(), kept.end()), kept.end());
  std::sort(kept.begin(), kept.end(), [](const KeptRequestPtr& a, const KeptRequestPtr& b) {
    const RequestSummary& x = a->summary;
    const RequestSummary& y = b->summary;
    return std::tie(x.begin_ns, a->ring, x.process_id, x.thread_id, x.request, x.number) <
           std::tie(y.begin_ns, b->ring, y.process_id, y.thread_id, y.request, y.number);
  });
  return kept;
}

}  // namespace kw::trx::tools
