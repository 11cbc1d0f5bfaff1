// SPDX-License-Identifier: Apache-2.0
#include "graph/arrows.h"

#include <set>

namespace kw::trx::tools {
namespace {

void addTable(const Picture& picture, const std::string& name, std::set<std::string>& added,
              std::vector<std::string>& names) {
  if (!added.insert(name).second) {
    return;
  }
  names.push_back(name);
  const auto flow = picture.tables.flows.find(name);
  if (flow != picture.tables.flows.end()) {
    for (const std::string& called : flow->second.called()) {
      addTable(picture, called, added, names);
    }
  }
}

}  // namespace

std::vector<std::string> drawnTables(const Picture& picture) {
  std::set<std::string> added;
  std::vector<std::string> names;
  for (const std::string& name : picture.names) {
    addTable(picture, name, added, names);
  }
  return names;
}

const std::vector<RowCounts>* countsOf(const Picture& picture, const std::string& table) {
  const auto found = picture.counts.find(table);
  return found == picture.counts.end() ? nullptr : &found->second;
}

std::vector<Arrow> arrowsOf(const TableFlow& flow, const std::vector<RowCounts>* counts) {
  std::vector<Arrow> arrows;
  const std::vector<bool> reached = flow.reached(true);
  for (std::size_t at = 0; at < flow.rows.size(); ++at) {
    const FlowRow& row = flow.rows[at];
    const auto add = [&](Arrow::Kind kind, std::size_t to, std::uint64_t RowCounts::*count) {
      arrows.push_back({kind, at, to, reached[at], {}});
      if (counts != nullptr) {
        arrows.back().count = (*counts)[at].*count;
      }
    };
    if (!row.endsTable()) {
      add(Arrow::Kind::kNext, at + 1, &RowCounts::onward);
    }
    if (row.jump >= 0) {
      add(Arrow::Kind::kError, static_cast<std::size_t>(row.jump), &RowCounts::errors);
    } else if (row.on_failure == Effect::kStops) {
      add(Arrow::Kind::kErrorEnd, 0, &RowCounts::errors);
    }
    if (row.callsTable()) {
      add(Arrow::Kind::kCall, 0, &RowCounts::runs);
    }
  }
  return arrows;
}

}  // namespace kw::trx::tools
