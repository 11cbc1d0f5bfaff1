// SPDX-License-Identifier: Apache-2.0
#include "lint/flow_warnings.h"

#include "common/characters.h"
#include "common/text.h"
#include "table/cell_number.h"
#include "zqm_trx/module_key.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

class FlowWarner {
 public:
  FlowWarner(const TableFlow& flow, const Environment& environment)
      : flow_(flow), around_(environment), reached_(flow.reached(true)) {}

  std::vector<Finding> run() {
    const std::vector<bool> without_errors = flow_.reached(false);
    std::vector<bool> named(flow_.rows.size());
    for (const FlowRow& row : flow_.rows) {
      if (row.jump >= 0) {
        named[static_cast<std::size_t>(row.jump)] = true;
      }
    }
    for (std::size_t at = 0; at < flow_.rows.size(); ++at) {
      const FlowRow& row = flow_.rows[at];
      if (!reached_[at]) {
        add(row, trx::kPlaceCommand, "no path reaches this row");
      }
      if (row.endsWithMessage() && without_errors[at]) {
        add(row, trx::kPlaceName,
            "a run without any failure gets here, and the message '" + row.name +
                "' makes it an error end");
      }
      if (!row.label.empty() && !named[at]) {
        add(row, trx::kPlaceLabel, "no row names the label '" + row.label + "'");
      }
      warnOfName(row);
      warnOfWait(row);
    }
    warnOfEndlessCalls();
    return findings_;
  }

 private:
  void add(const FlowRow& row, trx::Column column, const std::string& message) {
    findings_.push_back({false, row.lines[column], columnTitle(column, true), message});
  }

  void warnOfName(const FlowRow& row) {
    if (row.isNamelessCall()) {
      add(row, trx::kPlaceName, "a TABLE row without a name ends its table");
    } else if (row.callsTable() && around_.tables.flows.count(row.name) == 0) {
      warnOfTable(row);
    }
    if (row.command == Command::kHAP && row.name.empty()) {
      add(row, trx::kPlaceName, "a HAP row without a name fails: no HAP has it");
    } else if (row.command == Command::kHAP && around_.haps.known &&
               around_.haps.known->count(row.name) == 0) {
      warnOfHAP(row);
    }
  }

  void warnOfTable(const FlowRow& row) {
    if (around_.tables.refused.count(row.name) != 0) {
      add(row, trx::kPlaceName,
          "the engine does not load the table '" + row.name + "'; trxctl check tells why");
      return;
    }
    const auto meant = around_.meant_tables.find(row.name);
    add(row, trx::kPlaceName,
        "no table '" + row.name + "' is among the files or the configuration" +
            (meant == around_.meant_tables.end() ? "" : meant->second));
  }

  void warnOfHAP(const FlowRow& row) {
    const auto lost = around_.haps.lost.find(row.name);
    if (lost != around_.haps.lost.end()) {
      add(row, trx::kPlaceName,
          "the module that exports the HAP '" + row.name + "' " + lost->second +
              "; trxctl modules tells more");
      return;
    }
    const auto broken = around_.haps.broken.find(std::string(trx::keyOfHAP(row.name)));
    if (broken != around_.haps.broken.end()) {
      add(row, trx::kPlaceName,
          "no listed module exports the HAP '" + row.name + "': the module file " +
              visible(broken->second) + " does not export it, and would not load");
      return;
    }
    const auto [known, is_new] = near_.try_emplace(row.name);
    if (is_new) {
      known->second =
          didYouMean(row.name, {around_.haps.known->begin(), around_.haps.known->end()});
    }
    add(row, trx::kPlaceName,
        "no listed module exports the HAP '" + row.name + "'" + known->second);
  }

  void warnOfWait(const FlowRow& row) {
    if (row.command == Command::kWait &&
        cellNumber(row.mode, trx::kDecimalBase).value > trx::kWaitMaxMs) {
      add(row, trx::kPlaceMode, "the wait is cut to one hour, 3600000 ms");
    }
  }

  /// Every run of such a table calls a table that cannot end either, until the nest limit.
  void warnOfEndlessCalls() {
    const std::set<std::string>& endless = around_.endless;
    if (endless.count(flow_.name) == 0) {
      return;
    }
    for (std::size_t at = 0; at < flow_.rows.size(); ++at) {
      const FlowRow& row = flow_.rows[at];
      if (reached_[at] && row.command == Command::kTable && endless.count(row.name) != 0) {
        add(row, trx::kPlaceName,
            "every run gets to a call like this one and cannot end: the tables call themselves "
            "without a way out");
        return;
      }
    }
  }

  const TableFlow& flow_;
  const Environment& around_;
  const std::vector<bool> reached_;
  std::map<std::string, std::string> near_;  // what was probably meant by names of HAPs
  std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> flowWarnings(const TableFlow& flow, const Environment& environment) {
  return FlowWarner(flow, environment).run();
}

}  // namespace kw::trx::tools
