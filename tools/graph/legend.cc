// SPDX-License-Identifier: Apache-2.0
#include "graph/legend.h"

#include <cstddef>
#include <vector>

#include "common/characters.h"
#include "common/text.h"
#include "common/times.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kMaxSources = 3;

/// `text` as labels with markup take it.
std::string markup(const std::string& text) {
  std::string out;
  for (const char c : visible(text)) {
    out += c == '&'   ? "&amp;"
           : c == '<' ? "&lt;"
           : c == '>' ? "&gt;"
           : c == '"' ? "&quot;"
                      : std::string(1, c);
  }
  return out;
}

std::string coloured(const char* colour, const std::string& text) {
  return std::string("<font color=\"") + colour + "\">" + text + "</font>";
}

std::string cell(const std::string& content, const std::string& attributes = "") {
  return "<td align=\"left\"" + attributes + ">" + content + "</td>";
}

std::string filled(const char* colour, const std::string& text) {
  return cell(text + "&#160;", std::string(" bgcolor=\"") + colour + '"');
}

std::string line(const std::string& cells) {
  return "    <tr><td align=\"left\"><table border=\"0\" cellspacing=\"4\" cellpadding=\"3\"><tr>" +
         cells + "</tr></table></td></tr>\n";
}

/// Which files the counts are from, of how many requests, from when to when. Blanks at the end
/// leave space for fonts that are wider than Graphviz expects.
std::string sourceLines(const Picture& picture) {
  constexpr char blanks[] = "&#160;&#160;&#160;&#160;";
  std::string lines = line(cell(markup(listed(picture.sources, kMaxSources)) + blanks));
  if (picture.requests != 0) {
    lines += line(cell(std::to_string(picture.requests) +
                       (picture.requests == 1 ? " table request, " : " table requests, ") +
                       localMicrosText(picture.start_ns) + " to " +
                       localMicrosText(picture.end_ns) + blanks + blanks));
  }
  return lines;
}

std::string fillLine(const Picture& picture, const Palette& palette) {
  const bool is_way = picture.view == GraphView::kWay;
  return line(
      filled(palette.succeeded, "ran, never failed") +
      filled(palette.some_failed, "some failed, found a failure, or have not ended") +
      filled(palette.all_failed, "all failed, or found one") +
      (is_way ? cell(coloured(palette.grey, "did not run")) : filled(palette.never, "never ran")));
}

std::string arrowLine(const Picture& picture, const Palette& palette) {
  const bool is_way = picture.view == GraphView::kWay;
  return line(cell("&#8594; next row") + cell(coloured(palette.error, "&#8674; after a failure")) +
              cell(coloured(palette.call, "&#8674; calls a table")) +
              (is_way ? "" : cell(coloured(palette.grey, "cannot be reached"))) +
              (picture.sources.empty() ? "" : cell("at an arrow: how often it was taken")));
}

}  // namespace

std::string legendOf(const Picture& picture, const Palette& palette) {
  std::string rows = arrowLine(picture, palette);
  if (!picture.sources.empty()) {
    rows = fillLine(picture, palette) + rows + sourceLines(picture);
  }
  return "  labelloc=b labeljust=l fontsize=10\n  label=<<table border=\"0\" cellspacing=\"0\">\n" +
         rows + "  </table>>\n";
}

}  // namespace kw::trx::tools
