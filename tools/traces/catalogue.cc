// SPDX-License-Identifier: Apache-2.0
#include "traces/catalogue.h"

#include <algorithm>
#include <iterator>

#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

using trx::kLevelDebug;
using trx::kLevelDebug2;
using trx::kLevelError;
using trx::kLevelInfo;

constexpr Point kPoints[] = {
#define ZQM_TRACE_POINT(class_name, operation, constant, id, level, kind, values, sentence) \
  {id, level, #class_name "::" #operation, values, sentence},
#include "zqm_trx/trace_catalogue.def"
};

}  // namespace

std::vector<Point> allPoints() { return {std::begin(kPoints), std::end(kPoints)}; }

const Point* findPoint(unsigned int id) {
  const auto* found =
      std::lower_bound(std::begin(kPoints), std::end(kPoints), id,
                       [](const Point& point, unsigned int wanted) { return point.id < wanted; });
  return found != std::end(kPoints) && found->id == id ? found : nullptr;
}

std::string levelName(unsigned int level) {
  switch (level) {
    case kLevelError:
      return "error";
    case kLevelInfo:
      return "info";
    case kLevelDebug:
      return "debug";
    case kLevelDebug2:
      return "debug2";
    default:
      return std::to_string(level);
  }
}

std::string originOf(unsigned int id) {
  const Point* point = findPoint(id);
  return point == nullptr ? std::string() : point->origin;
}

}  // namespace kw::trx::tools
