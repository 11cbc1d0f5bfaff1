// SPDX-License-Identifier: Apache-2.0
#include "graph/graph.h"

#include <sstream>

#include "graph/arrows.h"
#include "graph/legend.h"
#include "graph/para_text.h"

namespace kw::trx::tools {
namespace {

/// `text` as the language of Graphviz writes it, which takes & for the start of a character's name.
std::string dotText(const std::string& text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
    }
    out += c == '\n' ? "\\n" : c == '&' ? "&amp;" : std::string(1, c);
  }
  return out + '"';
}

std::string node(const std::string& table, const std::string& place) {
  return dotText(table + ":" + place);
}

std::string node(const std::string& table, std::size_t place) {
  return node(table, std::to_string(place));
}

/// The shape tells the command of a row.
const char* shapeOf(Command command) {
  switch (command) {
    case Command::kStart:
    case Command::kEnd:
      return " shape=ellipse";
    case Command::kCheck:
      return " shape=hexagon";
    case Command::kWait:
      return " shape=octagon";
    case Command::kTable:
      return " peripheries=2";
    default:
      return "";
  }
}

/// What stands in the box of a row.
std::string labelOf(const FlowRow& row, const HAPDescriptions& descriptions) {
  std::string label = row.label.empty() ? "" : row.label + "\n";
  label += row.number + "  " + wordOf(row.command);
  if (row.command == Command::kWait) {
    return label + " " + std::to_string(row.wait_ms) + " ms";
  }
  for (const std::string& part : {row.name, row.mode, paraText(row, descriptions)}) {
    label += part.empty() ? "" : " " + part;
  }
  return label;
}

/// What an arrow of `row` is for, without its count.
std::string purposeOf(const Arrow& arrow, const FlowRow& row) {
  const bool finds = row.command == Command::kCheck;
  switch (arrow.kind) {
    case Arrow::Kind::kNext:
      return row.goesOnAfterFailure() ? row.error : "";
    case Arrow::Kind::kError:
      return finds ? "failure found" : "error";
    case Arrow::Kind::kErrorEnd:
      return finds ? "failure found, error end" : "error end";
    case Arrow::Kind::kCall:
      return "calls";
  }
  return "";
}

/// Writes tables in the language of Graphviz.
class GraphWriter {
 public:
  GraphWriter(const Picture& picture, bool is_dark)
      : picture_(picture),
        palette_(is_dark ? kDarkPalette : kLightPalette),
        is_way_(picture.view == GraphView::kWay) {}

  std::string write() {
    out_ << "digraph tables {\n  graph [fontname=\"sans-serif\" fontsize=11 bgcolor=\""
         << palette_.paper << "\" fontcolor=\"" << palette_.ink << "\" color=\"" << palette_.grey
         << "\" nodesep=0.4 ranksep=0.45]\n  node [shape=box fontname=\"sans-serif\" fontsize=10"
         << colours(palette_.ink) << "]\n  edge [fontname=\"sans-serif\" fontsize=10"
         << colours(palette_.ink) << "]\n";
    for (const std::string& name : drawnTables(picture_)) {
      const auto flow = picture_.tables.flows.find(name);
      flow == picture_.tables.flows.end() ? writeMissing(name) : writeTable(flow->second);
    }
    out_ << calls_.str() << legendOf(picture_, palette_) << "}\n";
    return out_.str();
  }

 private:
  static std::string colours(const char* colour) {
    return std::string(" color=\"") + colour + "\" fontcolor=\"" + colour + '"';
  }

  void writeMissing(const std::string& name) {
    const bool is_refused = picture_.tables.refused.count(name) != 0;
    out_ << "  " << node(name, 0) << " [label="
         << dotText(name + (is_refused ? "\nnot loaded by the engine" : "\nnot among the files"))
         << " style=dashed]\n";
  }

  void writeTable(const TableFlow& flow) {
    const std::vector<RowCounts>* const counts = countsOf(picture_, flow.name);
    const std::vector<bool> reached = flow.reached(true);
    out_ << "  subgraph " << dotText("cluster " + flow.name)
         << " {\n    label=" << dotText("table " + flow.name) << '\n';
    for (std::size_t at = 0; at < flow.rows.size(); ++at) {
      writeRow(flow, at, reached[at], counts == nullptr ? nullptr : &(*counts)[at]);
    }
    for (const Arrow& arrow : arrowsOf(flow, counts)) {
      writeArrow(flow, arrow);
    }
    out_ << "  }\n";
  }

  void writeRow(const TableFlow& flow, std::size_t at, bool is_reached, const RowCounts* counts) {
    const FlowRow& row = flow.rows[at];
    std::string label = labelOf(row, picture_.descriptions);
    if (counts != nullptr && !counts->note.empty()) {
      label += "\n" + counts->note;
    }
    out_ << "    " << node(flow.name, at) << " [label=" << dotText(label) << shapeOf(row.command)
         << (counts == nullptr ? "" : fillOf(*counts)) << outlineOf(row, is_reached, counts)
         << "]\n";
  }

  std::string fillOf(const RowCounts& counts) const {
    const char* const fill = counts.runs == 0                 ? palette_.never
                             : counts.failures >= counts.runs ? palette_.all_failed
                             : counts.failures == 0 && counts.unfinished == 0
                                 ? palette_.succeeded
                                 : palette_.some_failed;
    return is_way_ && counts.runs == 0 ? ""
                                       : std::string(" style=filled fillcolor=\"") + fill + '"';
  }

  std::string outlineOf(const FlowRow& row, bool is_reached, const RowCounts* counts) const {
    const bool ran = counts != nullptr && counts->runs != 0;
    if (!ran && (!is_reached || (is_way_ && counts != nullptr))) {
      return colours(palette_.grey);
    }
    const bool is_error = row.endsWithMessage() || (ran && counts->failures != 0);
    return (is_error ? std::string(" color=\"") + palette_.error + '"' : "") +
           (ran && is_way_ ? " penwidth=2.5" : "");
  }

  void writeArrow(const TableFlow& flow, const Arrow& arrow) {
    const std::string from = node(flow.name, arrow.from);
    const FlowRow& row = flow.rows[arrow.from];
    if (arrow.kind == Arrow::Kind::kCall) {
      calls_ << "  " << from << " -> " << node(row.name, 0) << styleOf(arrow, row);
    } else if (arrow.kind == Arrow::Kind::kErrorEnd) {
      const std::string end = node(flow.name, std::to_string(arrow.from) + " error");
      out_ << "    " << end << " [label=\"\" shape=point color=\""
           << (isPale(arrow) ? palette_.grey : palette_.error) << "\"]\n    " << from << " -> "
           << end << styleOf(arrow, row);
    } else {
      out_ << "    " << from << " -> " << node(flow.name, arrow.to) << styleOf(arrow, row);
    }
  }

  bool isPale(const Arrow& arrow) const {
    return (!arrow.is_reached && arrow.count.value_or(0) == 0) ||
           (is_way_ && arrow.count && *arrow.count == 0);
  }

  /// The attributes of an arrow and the end of its line. Blanks hold its label off the arrow.
  std::string styleOf(const Arrow& arrow, const FlowRow& row) const {
    std::string label = purposeOf(arrow, row);
    if (arrow.count && !(is_way_ && *arrow.count == 0)) {
      label += (label.empty() ? "" : " ") + std::to_string(*arrow.count);
    }
    std::string style;
    if (isPale(arrow)) {
      style += colours(palette_.grey);
    } else if (arrow.kind == Arrow::Kind::kError || arrow.kind == Arrow::Kind::kErrorEnd) {
      style += colours(palette_.error);
    } else if (arrow.kind == Arrow::Kind::kCall) {
      style += colours(palette_.call);
    }
    style += arrow.kind == Arrow::Kind::kNext   ? ""
             : arrow.kind == Arrow::Kind::kCall ? " style=dotted"
                                                : " style=dashed";
    style += is_way_ && arrow.count.value_or(0) != 0 ? " penwidth=2.5"
             : arrow.kind == Arrow::Kind::kCall      ? " penwidth=1.5"
                                                     : "";
    style += label.empty() ? "" : " label=" + dotText("  " + label + "  ");
    return (style.empty() ? "" : " [" + style.substr(1) + "]") + "\n";
  }

  const Picture& picture_;
  const Palette& palette_;
  const bool is_way_;
  std::ostringstream out_, calls_;
};

}  // namespace

std::string dotOf(const Picture& picture, bool is_dark) {
  return GraphWriter(picture, is_dark).write();
}

}  // namespace kw::trx::tools
