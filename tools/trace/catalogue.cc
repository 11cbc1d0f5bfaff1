// SPDX-License-Identifier: Apache-2.0
#include "trace/catalogue.h"

#include <algorithm>

#include "trace/event.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

using trx::kLevelDebug;
using trx::kLevelDebug2;
using trx::kLevelError;
using trx::kLevelInfo;

}  // namespace

const std::vector<Point>& allPoints() {
  static const std::vector<Point> points = {
#define ZQM_TRACE_POINT(class_name, operation, constant, id, level, kind, values, sentence) \
  {id, level, EventKind::k##kind, #class_name "::" #operation, values, sentence},
#include "zqm_trx/trace_catalogue.def"
  };
  return points;
}

const Point* findPoint(unsigned int id) {
  const auto found =
      std::lower_bound(allPoints().begin(), allPoints().end(), id,
                       [](const Point& point, unsigned int wanted) { return point.id < wanted; });
  return found != allPoints().end() && found->id == id ? &*found : nullptr;
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

}  // namespace kw::trx::tools
