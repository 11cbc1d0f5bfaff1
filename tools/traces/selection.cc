// SPDX-License-Identifier: Apache-2.0
#include "traces/selection.h"

#include <algorithm>
#include <iterator>

#include "traces/catalogue.h"

namespace kw::trx::tools {
namespace {

constexpr const char* kLevels[] = {"error", "info", "debug", "debug2"};

std::ptrdiff_t depthOf(const std::string& level) {
  return std::find(std::begin(kLevels), std::end(kLevels), level) - std::begin(kLevels);
}

bool isInside(const SliceTracker::Place& place, Slice::Kind kind, const std::string& name) {
  return name.empty() ||
         std::any_of(place.slices.begin(), place.slices.end(),
                     [&](const Slice& slice) { return slice.kind == kind && slice.name == name; });
}

}  // namespace

bool Selection::takes(const kw::platform::TraceRecord& record,
                      const SliceTracker::Place& place) const {
  const std::ptrdiff_t depth = depthOf(levelName(record.level));
  const bool known = depth < std::end(kLevels) - std::begin(kLevels);
  return !(known && depth > depthOf(level)) && request.value_or(place.request) == place.request &&
         isInside(place, Slice::Kind::kHAP, hap) && isInside(place, Slice::Kind::kTable, table);
}

}  // namespace kw::trx::tools
