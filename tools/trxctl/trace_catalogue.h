// SPDX-License-Identifier: Apache-2.0
// Trace records in words, by the engine's own catalogue.
#ifndef KW_TRX_TOOLS_TRXCTL_TRACE_CATALOGUE_H_
#define KW_TRX_TOOLS_TRXCTL_TRACE_CATALOGUE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "kw/platform.h"

namespace kw::trx::trxctl {

/// One trace point of the catalogue.
struct Point {
  unsigned int id;
  unsigned int level;
  const char* origin;    ///< such as "TRX::execHAP"
  const char* values;    ///< names and forms of the values
  const char* sentence;  ///< with the names of values in braces
};

/// One value of a record: a word, or the text of the record.
struct Value {
  std::string name;
  std::string text;        ///< the value as the catalogue shows it
  std::uint32_t word = 0;  ///< 0 for a text
};

/// All trace points in the order of their ids.
std::vector<Point> allPoints();

/// The trace point with this id; null when the catalogue has none.
const Point* findPoint(unsigned int id);

/// The values of `record` that the catalogue names; none when its data is too short for them.
std::vector<Value> valuesOf(const kw::platform::TraceRecord& record);

/// The word called `name` in `record`, or `otherwise`.
std::uint32_t wordOf(const kw::platform::TraceRecord& record, const std::string& name,
                     std::uint32_t otherwise);

/// The text of a text record, control characters made visible.
std::string textOf(const kw::platform::TraceRecord& record);

/// "error", "info", "debug" or "debug2"; the number of any other level.
std::string levelName(unsigned int level);

/// The sentence of the catalogue for `record`, with its values filled in. A record that the
/// catalogue does not know, or whose data does not fit, is shown by its id and bytes.
std::string describe(const kw::platform::TraceRecord& record);

/// Where the engine wrote a record with this id, such as "TRX::execHAP"; empty when unknown.
std::string originOf(unsigned int id);

}  // namespace kw::trx::trxctl

#endif  // KW_TRX_TOOLS_TRXCTL_TRACE_CATALOGUE_H_
