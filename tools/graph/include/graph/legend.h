// SPDX-License-Identifier: Apache-2.0
// The colours of a picture, and the legend that tells what they mean. Any thread.
#ifndef KW_TRX_TOOLS_GRAPH_LEGEND_H_
#define KW_TRX_TOOLS_GRAPH_LEGEND_H_

#include <string>

#include "graph/graph.h"

namespace kw::trx::tools {

/// Colours as Graphviz writes them.
struct Palette {
  const char *paper, *ink;
  const char* grey;                                          ///< what cannot or did not run
  const char *error, *call;                                  ///< arrows
  const char *succeeded, *some_failed, *all_failed, *never;  ///< fills of rows
};

constexpr Palette kLightPalette = {"#ffffff", "#1a1c20", "#8a8f98", "#b3261e", "#0a58a8",
                                   "#cfeed6", "#ffe08a", "#f6b8b1", "#ececec"};
constexpr Palette kDarkPalette = {"#121417", "#e7e9ec", "#7d8590", "#ff948a", "#8dbbff",
                                  "#1d4a2c", "#665000", "#7a2620", "#2b2f35"};

/// The legend, as the label of the whole graph: what colours and arrows mean, which files the
/// counts are from, and the time of what they count.
std::string legendOf(const Picture& picture, const Palette& palette);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_GRAPH_LEGEND_H_
