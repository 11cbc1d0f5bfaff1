// SPDX-License-Identifier: Apache-2.0
#include "graph/graph.h"

#include <set>
#include <sstream>
#include <utility>

#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

constexpr char kUnreached[] = "color=grey fontcolor=grey";
constexpr char kOnError[] = "color=red style=dashed";
constexpr char kHasRun[] = " style=filled fillcolor=\"#d8f0d8\"";
constexpr char kNeverRun[] = " style=filled fillcolor=\"#f8d8d8\"";
constexpr char kFailed[] = "color=red fontcolor=red penwidth=2.5";
constexpr char kTaken[] = "penwidth=2.5";
constexpr char kCall[] = "color=blue style=dotted";

/// `text` as the language of Graphviz writes it.
std::string dotText(const std::string& text) {
  std::string out = "\"";
  for (const char c : text) {
    const bool special = c == '"' || c == '\\' || c == '\n';
    out += special ? std::string("\\") + (c == '\n' ? 'n' : c) : std::string(1, c);
  }
  return out + '"';
}

/// How counts show; null: nothing is told of a row.
class CountStyle {
 public:
  explicit CountStyle(GraphView view) : is_way_(view == GraphView::kWay) {}

  /// The text of an arrow, with how often it was taken.
  std::string text(const std::string& words, const RowCounts* counts,
                   std::uint64_t RowCounts::*count) const {
    const bool is_told = counts != nullptr && (!is_way_ || counts->*count != 0);
    const std::string times = is_told ? std::to_string(counts->*count) : "";
    return dotText(words + (words.empty() || times.empty() ? "" : " ") + times);
  }

  /// The style of an arrow that usually has `usual`.
  std::string arrow(const std::string& usual, const RowCounts* counts,
                    std::uint64_t RowCounts::*count) const {
    return !is_way_ || counts == nullptr ? usual
           : counts->*count == 0         ? kUnreached
                                         : usual + (usual.empty() ? "" : " ") + kTaken;
  }

  /// The colours of a row.
  std::string box(const RowCounts* counts) const {
    if (counts == nullptr || !is_way_) {
      return counts == nullptr ? "" : counts->runs == 0 ? kNeverRun : kHasRun;
    }
    return counts->runs == 0 ? std::string(" ") + kUnreached
                             : std::string(kHasRun) + " " + (counts->failed ? kFailed : kTaken);
  }

 private:
  const bool is_way_;
};

/// Writes tables in the language of Graphviz.
class GraphWriter {
 public:
  GraphWriter(const KnownTables& tables, const GraphCounts& counts, GraphView view)
      : tables_(tables), counts_(counts), style_(view) {}

  /// The tables called `names` and those that they call.
  std::string write(const std::vector<std::string>& names) {
    out_ << "digraph tables {\n  node [shape=box fontname=\"sans-serif\" fontsize=10]\n"
            "  edge [fontname=\"sans-serif\" fontsize=9]\n";
    for (const std::string& name : names) {
      add(name);
    }
    out_ << calls_.str() << "}\n";
    return out_.str();
  }

 private:
  static std::string node(const std::string& table, const std::string& place) {
    return dotText(table + ":" + place);
  }

  static std::string node(const std::string& table, std::size_t place) {
    return node(table, std::to_string(place));
  }

  void add(const std::string& name) {
    if (!added_.insert(name).second) {
      return;
    }
    const auto found = tables_.flows.find(name);
    if (found == tables_.flows.end()) {
      const bool is_refused = tables_.refused.count(name) != 0;
      out_ << "  " << node(name, 0) << " [label="
           << dotText(name + (is_refused ? "\nnot loaded by the engine" : "\nnot among the files"))
           << " style=dashed]\n";
      return;
    }
    const TableFlow& flow = found->second;
    const std::vector<bool> reached = flow.reached(true);
    out_ << "  subgraph " << dotText("cluster " + name) << " {\n    label=" << dotText(name)
         << '\n';
    for (std::size_t at = 0; at < flow.rows.size(); ++at) {
      writeRow(flow, at, reached[at]);
    }
    out_ << "  }\n";
    for (std::size_t at = 0; at < flow.rows.size(); ++at) {
      const FlowRow& row = flow.rows[at];
      if (row.callsTable()) {
        const RowCounts* const counts = countsOf(name, at);
        calls_ << "  " << node(name, at) << " -> " << node(row.name, 0) << " ["
               << style_.arrow(kCall, counts, &RowCounts::runs)
               << " label=" << style_.text("calls", counts, &RowCounts::runs) << "]\n";
        add(row.name);
      }
    }
  }

  /// What is told of a row; null: nothing is.
  const RowCounts* countsOf(const std::string& table, std::size_t at) const {
    const auto found = counts_.find(table);
    return found == counts_.end() ? nullptr : &found->second[at];
  }

  void writeRow(const TableFlow& flow, std::size_t at, bool reached) {
    const FlowRow& row = flow.rows[at];
    const RowCounts* const counts = countsOf(flow.name, at);
    const bool end = row.command == Command::kEnd;
    std::string label = row.number + "  " + wordOf(row.command);
    for (const std::string& part : {row.name, row.mode, row.para}) {
      label += part.empty() ? "" : " " + part;
    }
    if (!row.label.empty()) {
      label = row.label + "\n" + label;
    }
    if (counts != nullptr && !counts->note.empty()) {
      label += "\n" + counts->note;
    }
    out_ << "    " << node(flow.name, at) << " [label=" << dotText(label)
         << (end ? " shape=ellipse" : "") << (end && !row.name.empty() ? " color=red" : "")
         << (reached ? "" : std::string(" ") + kUnreached) << style_.box(counts) << "]\n";
    writeArrows(flow, at, reached, counts);
  }

  void writeArrows(const TableFlow& flow, std::size_t at, bool reached, const RowCounts* counts) {
    const FlowRow& row = flow.rows[at];
    const std::string on_error =
        reached ? style_.arrow(kOnError, counts, &RowCounts::errors) : kUnreached;
    if (!row.endsTable()) {
      writeEdge(node(flow.name, at), node(flow.name, at + 1),
                reached ? style_.arrow("", counts, &RowCounts::onward) : kUnreached, row, counts);
    }
    if (row.jump >= 0) {
      out_ << "    " << node(flow.name, at) << " -> "
           << node(flow.name, static_cast<std::size_t>(row.jump)) << " [" << on_error
           << " label=" << style_.text("error", counts, &RowCounts::errors) << "]\n";
    } else if (row.on_failure == Effect::kStops) {
      const std::string failed = node(flow.name, std::to_string(at) + " error");
      out_ << "    " << failed << " [label=\"\" shape=point "
           << (on_error == kUnreached ? kUnreached : "color=red") << "]\n    "
           << node(flow.name, at) << " -> " << failed << " [" << on_error
           << " label=" << style_.text("error end", counts, &RowCounts::errors) << "]\n";
    }
  }

  void writeEdge(const std::string& from, const std::string& to, const std::string& style,
                 const FlowRow& row, const RowCounts* counts) {
    const bool mode = row.goesOnAfterFailure();
    out_ << "    " << from << " -> " << to << (style.empty() ? "" : " [" + style + "]")
         << (mode || counts != nullptr
                 ? " [label=" + style_.text(mode ? row.error : "", counts, &RowCounts::onward) + "]"
                 : "")
         << '\n';
  }

  const KnownTables& tables_;
  const GraphCounts& counts_;
  const CountStyle style_;
  std::set<std::string> added_;
  std::ostringstream out_, calls_;
};

}  // namespace

std::string graphOf(const KnownTables& tables, const std::vector<std::string>& names,
                    const GraphCounts& counts, GraphView view) {
  return GraphWriter(tables, counts, view).write(names);
}

}  // namespace kw::trx::tools
