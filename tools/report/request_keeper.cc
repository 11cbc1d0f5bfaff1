// SPDX-License-Identifier: Apache-2.0
#include "report/request_keeper.h"

#include <algorithm>
#include <tuple>

namespace kw::trx::tools {
namespace {

constexpr std::size_t kMaxSpans = 4000;
constexpr std::size_t kMaxFailedSpans = 2500;
constexpr std::size_t kMaxLongest = 20;

}  // namespace

void RequestKeeper::Newest::add(const KeptRequestPtr& request, std::size_t max_spans) {
  requests.push_back(request);
  spans += request->spans.size() + 1;
  while (spans > max_spans && requests.size() > 1) {
    spans -= requests.front()->spans.size() + 1;
    requests.pop_front();
  }
}

void RequestKeeper::add(const KeptRequestPtr& request) {
  all_.add(request, kMaxSpans);
  if (request->request().hasFailed()) {
    failed_.add(request, kMaxFailedSpans);
  }
  const std::uint64_t duration_ns = request->request().durationNs();
  if (longest_.size() < kMaxLongest || duration_ns > longest_.begin()->first) {
    longest_.emplace(duration_ns, request);
    if (longest_.size() > kMaxLongest) {
      longest_.erase(longest_.begin());
    }
  }
}

std::vector<KeptRequestPtr> RequestKeeper::requests(const std::vector<KeptRequestPtr>& others) {
  std::vector<KeptRequestPtr> kept = others;
  kept.insert(kept.end(), all_.requests.begin(), all_.requests.end());
  kept.insert(kept.end(), failed_.requests.begin(), failed_.requests.end());
  for (const auto& one : longest_) {
    kept.push_back(one.second);
  }
  std::sort(kept.begin(), kept.end());
  kept.erase(std::unique(kept.begin(), kept.end()), kept.end());
  std::sort(kept.begin(), kept.end(), [](const KeptRequestPtr& a, const KeptRequestPtr& b) {
    const Request& x = a->request();
    const Request& y = b->request();
    return std::tie(x.start_ns, x.ring, x.process_id, x.thread_id, x.serial) <
           std::tie(y.start_ns, y.ring, y.process_id, y.thread_id, y.serial);
  });
  return kept;
}

}  // namespace kw::trx::tools
