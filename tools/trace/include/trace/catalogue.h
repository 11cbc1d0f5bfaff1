// SPDX-License-Identifier: Apache-2.0
// What can be told of a trace record by its id and level, by the engine's own catalogue.
#ifndef KW_TRX_TOOLS_TRACE_CATALOGUE_H_
#define KW_TRX_TOOLS_TRACE_CATALOGUE_H_

#include <string>
#include <vector>

namespace kw::trx::tools {

enum class EventKind;

/// One trace point of the catalogue.
struct Point {
  unsigned int id;
  unsigned int level;
  EventKind kind;
  const char* origin;    ///< such as "TRX::execHAP"
  const char* values;    ///< names and forms of the values
  const char* sentence;  ///< with the names of values in braces
};

/// All trace points in the order of their ids.
const std::vector<Point>& allPoints();

/// The trace point with this id; null when the catalogue has none.
const Point* findPoint(unsigned int id);

/// "error", "info", "debug" or "debug2"; the number of any other level.
std::string levelName(unsigned int level);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_CATALOGUE_H_
