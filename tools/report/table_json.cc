// SPDX-License-Identifier: Apache-2.0
// The tables of a report, with what ran of them, and figures of runs as JSON.
#include <algorithm>
#include <set>

#include "common/paths.h"
#include "common/text.h"
#include "report/timed_json.h"
#include "table/row_finder.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

constexpr unsigned int kMedian = 50;
constexpr unsigned int kNearlyAll = 99;
constexpr unsigned int kAll = 100;

using Figures = std::map<Work, WorkFigures>;
using Entries = std::vector<const Figures::value_type*>;

/// Writes the tables until there are as many rows as the report may have.
class TableWriter {
 public:
  TableWriter(const Report& report, JsonWriter& json)
      : report_(report), json_(json), rows_left_(report.bounds.rows) {
    const RowFinder finder(report.tables);
    for (const auto& one : report.statistics.all()) {
      const Work& work = one.first;
      if (work.isHAP()) {
        continue;
      }
      by_table_[work.row.table].push_back(&one);
      const RowFinder::Found found = finder.find(spanOf(work));
      if (found.is_same) {
        figures_[found.row].push_back(&one.second);
      } else if (found.table != nullptr) {
        foreign_[work.row.table].push_back(&one);
      }
    }
  }

  void write() {
    const std::vector<std::string> names = drawn();
    const std::size_t max = report_.bounds.tables;
    json_.key("tables").beginArray();
    for (std::size_t i = 0; i < std::min(names.size(), max); ++i) {
      const std::string& name = names[i];
      const auto flow = report_.tables.find(name);
      json_.beginObject().member("name", name);
      json_.key("known").boolean(flow != report_.tables.end());
      if (flow == report_.tables.end()) {
        writeSeen(name);
      } else {
        writeKnown(flow->second);
      }
      json_.endObject();
    }
    json_.endArray();
    const std::set<std::string> drawn_names(names.begin(), names.end());
    std::vector<std::string> others;
    for (const auto& [name, flow] : report_.tables) {
      if (drawn_names.count(name) == 0) {
        others.push_back(name);
      }
    }
    std::size_t left_out = names.size() - std::min(names.size(), max);
    left_out += others.size() - std::min(others.size(), max);
    others.resize(std::min(others.size(), max));
    json_.texts("tablesNotRun", others).key("tablesLeftOut").number(left_out);
  }

 private:
  /// Those that ran and those that they call; by their failures, downwards.
  std::vector<std::string> drawn() const {
    std::vector<std::string> names;
    std::set<std::string> all;
    std::map<std::string, std::uint64_t> failures;
    for (const auto& [table, rows] : by_table_) {
      names.push_back(table);
      all.insert(table);
      for (const Figures::value_type* const row : rows) {
        failures[table] += row->second.failures;
      }
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
      const auto flow = report_.tables.find(names[i]);
      if (flow == report_.tables.end()) {
        continue;
      }
      for (const FlowRow& row : flow->second.rows) {
        if (row.command == Command::kTable && report_.tables.count(row.name) != 0 &&
            all.insert(row.name).second) {
          names.push_back(row.name);
        }
      }
    }
    std::stable_sort(names.begin(), names.end(),
                     [&failures](const std::string& a, const std::string& b) {
                       return failures[a] > failures[b];
                     });
    return names;
  }

  void writeKnown(const TableFlow& flow) {
    const auto counts = report_.counts.find(flow.name);
    const auto runs = [&](std::size_t at) {
      return counts == report_.counts.end() ? 0 : counts->second[at].runs;
    };
    const bool all = flow.rows.size() <= rows_left_;
    std::uint64_t left_out = 0;
    json_.member("file", absolutePath(flow.file)).key("rows").beginArray();
    for (std::size_t at = 0; at < flow.rows.size(); ++at) {
      if ((!all && runs(at) == 0) || rows_left_ == 0) {
        ++left_out;
        continue;
      }
      --rows_left_;
      writeRow(flow, at, counts == report_.counts.end() ? RowCounts() : counts->second[at]);
    }
    json_.endArray().key("foreign").beginArray();
    left_out += writeRows(foreign_[flow.name]);
    json_.endArray().key("rowsLeftOut").number(left_out);
    const auto unknown = report_.unknown_rows.find(flow.name);
    json_.key("foreignRuns").number(unknown == report_.unknown_rows.end() ? 0 : unknown->second);
  }

  void writeRow(const TableFlow& flow, std::size_t at, const RowCounts& counts) {
    const FlowRow& row = flow.rows[at];
    json_.beginObject().key("at").number(at);
    json_.member("label", row.label)
        .member("number", row.number)
        .member("rowCommand", wordOf(row.command));
    json_.member("name", row.name).member("mode", row.mode).member("error", row.error);
    json_.member("para", row.para);
    if (row.jump >= 0) {
      json_.key("jump").number(static_cast<std::uint64_t>(row.jump));
    }
    json_.key("runs").number(counts.runs).key("onward").number(counts.onward);
    json_.key("errors").number(counts.errors);
    const auto figures = figures_.find(&row);
    if (figures != figures_.end()) {
      WorkFigures all;
      for (const WorkFigures* const some : figures->second) {
        all.add(*some);
      }
      writeFigures(all, json_);
    }
    json_.endObject();
  }

  void writeSeen(const std::string& name) {
    json_.member("file", "").key("rows").beginArray();
    const std::uint64_t left_out = writeRows(by_table_.at(name));
    json_.endArray().key("rowsLeftOut").number(left_out).key("foreignRuns").number(0);
    json_.key("foreign").beginArray().endArray();
  }

  /// Rows as they ran. Returns how many are left out.
  std::uint64_t writeRows(const Entries& entries) {
    std::uint64_t left_out = 0;
    for (const Figures::value_type* const one : entries) {
      if (rows_left_ == 0) {
        ++left_out;
        continue;
      }
      --rows_left_;
      json_.beginObject().member("number", hexDigits(one->first.row.number));
      json_.member("rowCommand", wordOf(one->first.command)).member("name", one->first.name);
      json_.key("runs").number(one->second.calls);
      writeFigures(one->second, json_);
      json_.endObject();
    }
    return left_out;
  }

  const Report& report_;
  JsonWriter& json_;
  std::map<std::string, Entries> by_table_;
  std::map<std::string, Entries> foreign_;  // rows that do not stand so in the file
  /// Runs that were cut off before the record of their HAP are figures of their own.
  std::map<const FlowRow*, std::vector<const WorkFigures*>> figures_;
  std::size_t rows_left_;
};

}  // namespace

void writeDurations(const Durations& durations, JsonWriter& json) {
  json.key("minNs").number(durations.quantile(0));
  json.key("medianNs").number(durations.quantile(kMedian));
  json.key("p99Ns").number(durations.quantile(kNearlyAll));
  json.key("maxNs").number(durations.quantile(kAll));
  json.key("sumNs").number(durations.sum());
}

void writeFigures(const WorkFigures& figures, JsonWriter& json) {
  json.key("calls").number(figures.calls).key("failures").number(figures.failures);
  json.key("unfinished").number(figures.unfinished);
  writeDurations(figures.total, json);
  json.key("ownNs").number(figures.own.sum());
  json.key("waitNs").number(figures.wait_ns).key("lockNs").number(figures.lock_ns);
  json.key("lockWaitNs").number(figures.lock_wait_ns);
}

void writeTables(const Report& report, JsonWriter& json) { TableWriter(report, json).write(); }

}  // namespace kw::trx::tools
