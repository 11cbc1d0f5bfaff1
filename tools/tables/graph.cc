// SPDX-License-Identifier: Apache-2.0
#include "tables/graph.h"

#include <set>
#include <sstream>

#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

constexpr char kUnreached[] = "color=grey fontcolor=grey";
constexpr char kOnError[] = "color=red style=dashed";
constexpr char kHasRun[] = " style=filled fillcolor=\"#d8f0d8\"";
constexpr char kNeverRun[] = " style=filled fillcolor=\"#f8d8d8\"";
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

/// Writes tables in the language of Graphviz.
class GraphWriter {
 public:
  GraphWriter(const KnownTables& tables, const GraphCounts& counts)
      : tables_(tables), counts_(counts) {}

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
      if (row.command == trx::kCommandTable && !row.name.empty()) {
        calls_ << "  " << node(name, at) << " -> " << node(row.name, 0) << " [" << kCall
               << " label=" << edgeText("calls", countsOf(name, at), &RowCounts::runs) << "]\n";
        add(row.name);
      }
    }
  }

  /// What is told of a row; null: nothing is.
  const RowCounts* countsOf(const std::string& table, std::size_t at) const {
    const auto found = counts_.find(table);
    return found == counts_.end() ? nullptr : &found->second[at];
  }

  /// The text of an arrow, with how often it was taken.
  static std::string edgeText(const std::string& words, const RowCounts* counts,
                              std::uint64_t RowCounts::*count) {
    const std::string times = counts == nullptr ? "" : std::to_string(counts->*count);
    return dotText(words + (words.empty() || times.empty() ? "" : " ") + times);
  }

  void writeRow(const TableFlow& flow, std::size_t at, bool reached) {
    const FlowRow& row = flow.rows[at];
    const RowCounts* const counts = countsOf(flow.name, at);
    const bool end = row.command == trx::kCommandEnd;
    std::string label = row.number + "  " + row.command;
    for (const std::string& part : {row.name, row.mode, row.para}) {
      label += part.empty() ? "" : " " + part;
    }
    if (!row.label.empty()) {
      label = row.label + "\n" + label;
    }
    out_ << "    " << node(flow.name, at) << " [label=" << dotText(label)
         << (end ? " shape=ellipse" : "") << (end && !row.name.empty() ? " color=red" : "")
         << (reached ? "" : std::string(" ") + kUnreached)
         << (counts == nullptr   ? ""
             : counts->runs == 0 ? kNeverRun
                                 : kHasRun)
         << "]\n";
    if (!row.endsTable()) {
      writeEdge(node(flow.name, at), node(flow.name, at + 1), reached ? "" : kUnreached, row,
                counts);
    }
    if (row.jump >= 0) {
      out_ << "    " << node(flow.name, at) << " -> "
           << node(flow.name, static_cast<std::size_t>(row.jump)) << " ["
           << (reached ? kOnError : kUnreached)
           << " label=" << edgeText("error", counts, &RowCounts::errors) << "]\n";
    } else if (row.endsOnError()) {
      const std::string failed = node(flow.name, std::to_string(at) + " error");
      out_ << "    " << failed << " [label=\"\" shape=point "
           << (reached ? "color=red" : kUnreached) << "]\n    " << node(flow.name, at) << " -> "
           << failed << " [" << (reached ? kOnError : kUnreached)
           << " label=" << edgeText("error end", counts, &RowCounts::errors) << "]\n";
    }
  }

  void writeEdge(const std::string& from, const std::string& to, const std::string& style,
                 const FlowRow& row, const RowCounts* counts) {
    const bool mode = row.command == trx::kCommandHAP && row.jump < 0 && !row.error.empty();
    out_ << "    " << from << " -> " << to << (style.empty() ? "" : " [" + style + "]")
         << (mode || counts != nullptr
                 ? " [label=" + edgeText(mode ? row.error : "", counts, &RowCounts::onward) + "]"
                 : "")
         << '\n';
  }

  const KnownTables& tables_;
  const GraphCounts& counts_;
  std::set<std::string> added_;
  std::ostringstream out_, calls_;
};

}  // namespace

std::string graphOf(const KnownTables& tables, const std::vector<std::string>& names,
                    const GraphCounts& counts) {
  return GraphWriter(tables, counts).write(names);
}

}  // namespace kw::trx::tools
