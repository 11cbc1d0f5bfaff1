// SPDX-License-Identifier: Apache-2.0
// Tables as a picture: their rows, the arrows between them, and what ran of them. Any thread.
#ifndef KW_TRX_TOOLS_GRAPH_GRAPH_H_
#define KW_TRX_TOOLS_GRAPH_GRAPH_H_

#include <cstdint>
#include <string>
#include <vector>

#include "coverage/coverage.h"
#include "modules/descriptions.h"
#include "table/environment.h"

namespace kw::trx::tools {

class JsonWriter;

/// What the counts are of.
enum class GraphView {
  kRuns,  ///< any number of runs
  kWay,   ///< one run: its way is bold, all else pale
};

/// What a picture shows.
struct Picture {
  KnownTables tables;
  std::vector<std::string> names;  ///< of the tables that are drawn, with those that they call
  HAPDescriptions descriptions;    ///< of the HAPs that describe themselves
  GraphCounts counts;              ///< of the tables whose runs are known
  GraphView view = GraphView::kRuns;
  std::vector<std::string> sources;  ///< files that the counts are from; empty: there are none
  std::uint64_t requests = 0;        ///< that are counted; 0: not known, as in files of coverage
  std::uint64_t start_ns = 0, end_ns = 0;  ///< start of the first and end of the last of them
};

/// The picture in the language of `dot`, on light or dark paper.
std::string dotOf(const Picture& picture, bool is_dark);

/// Writes the members `sources` to `arrows` into the open object.
void writeGraph(const Picture& picture, JsonWriter& json);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_GRAPH_GRAPH_H_
