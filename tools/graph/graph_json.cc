// SPDX-License-Identifier: Apache-2.0
// A picture as JSON.
#include "common/json.h"
#include "common/paths.h"
#include "graph/arrows.h"
#include "graph/graph.h"
#include "graph/para_text.h"

namespace kw::trx::tools {
namespace {

const char* nameOf(Arrow::Kind kind) {
  switch (kind) {
    case Arrow::Kind::kNext:
      return "next";
    case Arrow::Kind::kError:
      return "error";
    case Arrow::Kind::kErrorEnd:
      return "errorEnd";
    case Arrow::Kind::kCall:
      return "call";
  }
  return "";
}

class GraphJson {
 public:
  GraphJson(const Picture& picture, JsonWriter& json)
      : picture_(picture), flows_(picture.tables.flows), json_(json) {}

  void write() {
    json_.texts("sources", picture_.sources);
    if (picture_.requests != 0) {
      json_.key("requests").number(picture_.requests);
      writeTime("start", picture_.start_ns, json_);
      writeTime("end", picture_.end_ns, json_);
    }
    const std::vector<std::string> names = drawnTables(picture_);
    json_.key("tables").beginArray();
    for (const std::string& name : names) {
      writeTable(name);
    }
    json_.endArray().key("arrows").beginArray();
    for (const std::string& name : names) {
      if (const auto flow = flows_.find(name); flow != flows_.end()) {
        writeArrows(flow->second);
      }
    }
    json_.endArray();
  }

 private:
  void writeTable(const std::string& name) {
    const auto flow = flows_.find(name);
    const bool loads = flow != flows_.end();
    json_.beginObject().member("name", name);
    json_.key("known").boolean(loads || picture_.tables.refused.count(name) != 0);
    json_.key("loads").boolean(loads).member("file", loads ? absolutePath(flow->second.file) : "");
    json_.key("rows").beginArray();
    if (loads) {
      writeRows(flow->second);
    }
    json_.endArray().endObject();
  }

  void writeRows(const TableFlow& flow) {
    const std::vector<bool> reached = flow.reached(true);
    const std::vector<RowCounts>* const counts = countsOf(picture_, flow.name);
    for (std::size_t at = 0; at < flow.rows.size(); ++at) {
      const FlowRow& row = flow.rows[at];
      tools::write(row.id, json_.beginObject().key("row"));
      json_.member("label", row.label).member("rowCommand", wordOf(row.command));
      json_.member("name", row.name).member("mode", row.mode).member("error", row.error);
      json_.member("para", row.para).member("paraText", paraText(row, picture_.descriptions));
      json_.key("reached").boolean(reached[at]);
      if (counts != nullptr) {
        json_.key("runs").number((*counts)[at].runs);
        json_.key("failures").number((*counts)[at].failures);
        json_.key("unfinished").number((*counts)[at].unfinished);
      }
      json_.endObject();
    }
  }

  void writeArrows(const TableFlow& flow) {
    for (const Arrow& arrow : arrowsOf(flow, countsOf(picture_, flow.name))) {
      const FlowRow& row = flow.rows[arrow.from];
      tools::write(row.id, json_.beginObject().member("kind", nameOf(arrow.kind)).key("from"));
      if (arrow.kind == Arrow::Kind::kCall) {
        json_.member("table", row.name);
      } else if (arrow.kind != Arrow::Kind::kErrorEnd) {
        tools::write(flow.rows[arrow.to].id, json_.key("to"));
      }
      if (arrow.count) {
        json_.key("count").number(*arrow.count);
      }
      json_.endObject();
    }
  }

  const Picture& picture_;
  const TableFlows& flows_;
  JsonWriter& json_;
};

}  // namespace

void writeGraph(const Picture& picture, JsonWriter& json) { GraphJson(picture, json).write(); }

}  // namespace kw::trx::tools
