// SPDX-License-Identifier: Apache-2.0
#include "traces/interruptions.h"

#include <utility>

namespace kw::trx::tools {
namespace {

constexpr std::size_t kKeptMost = 64;

}  // namespace

void Interruptions::add(std::uint32_t request, std::vector<Slice> slices) {
  std::vector<std::vector<Slice>>& kept = all_[request];
  if (kept.size() == kKeptMost) {
    kept.erase(kept.begin());
  }
  kept.push_back(std::move(slices));
}

std::vector<Slice> Interruptions::take(std::uint32_t request, const std::string& name) {
  const auto found = all_.find(request);
  if (found == all_.end()) {
    return {};
  }
  std::vector<std::vector<Slice>>& kept = found->second;
  auto last = kept.end();
  for (auto one = kept.begin(); one != kept.end(); ++one) {
    if (one->front().name == name &&
        (last == kept.end() || one->front().end_ns >= last->front().end_ns)) {
      last = one;
    }
  }
  if (last == kept.end()) {
    return {};
  }
  std::vector<Slice> slices = std::move(*last);
  kept.erase(last);
  return slices;
}

}  // namespace kw::trx::tools
