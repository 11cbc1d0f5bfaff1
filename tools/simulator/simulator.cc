// SPDX-License-Identifier: Apache-2.0
#include "simulator/simulator.h"

#include <sstream>
#include <stdexcept>
#include <utility>

#include "common/paths.h"
#include "common/temp_folder.h"
#include "common/text.h"
#include "engine/engine_start.h"
#include "engine/failure_reason.h"
#include "engine/units.h"
#include "kw/platform.h"
#include "kw/trx/table_driver.h"
#include "kw/trx/trx.h"
#include "simulator/simulated_haps.h"
#include "table/environment.h"
#include "trace/record_collector.h"
#include "zqm_trx/config_keys.h"

namespace kw::trx::tools {
namespace {

constexpr unsigned int kForeign = 1;

/// A system root with the configuration of a simulation, as long as the engine reads it.
class SimulationRoot {
 public:
  SimulationRoot(const std::vector<std::string>& tables, unsigned int nest_limit) {
    std::ostringstream out;
    out << trx::kKeyHAPNumber << "=0\n"
        << trx::kKeyTableNestLimit << '=' << nest_limit << '\n'
        << trx::kKeyWaitHandler << '=' << trx::kWordRequester << '\n'
        << trx::kKeyTableNumber << '=' << tables.size() << '\n';
    for (std::size_t i = 0; i < tables.size(); ++i) {
      out << trx::kPrefixTableFile << i << '=' << absolutePath(tables[i]) << '\n';
    }
    folder_.write("trx.conf", out.str());
    folder_.write(std::string(trx::kPathFile).substr(1),
                  std::string(trx::kKeyTRXConf) + '=' + folder_.path() + "/trx.conf\n");
    kw::platform::setSystemRoot(folder_.path());
  }
  SimulationRoot(const SimulationRoot&) = delete;
  SimulationRoot& operator=(const SimulationRoot&) = delete;
  ~SimulationRoot() { kw::platform::setSystemRoot(root_); }

 private:
  const std::string root_ = kw::platform::getSystemRoot();
  const TempFolder folder_;
};

/// The run in progress.
struct Run {
  const SimulationRequest& request;
  const TableFlows& tables;
  SimulatedRun& result;
  trx::TRX* engine;
};
Run* running = nullptr;

HAPOutcome chooseFor(const trx::TRXInfo& info, const std::string& name) {
  const trx::TblCtlInfo& at = *info.getCurTblCtlInfo();
  const auto place = static_cast<std::size_t>(at.index);
  const FlowRow& row = running->tables.at(at.tableName).rows.at(place);
  HAPCall call{row.id, place, name, row.mode, row.para, {}};
  if (running->request.choose) {
    call.outcome = running->request.choose(call);
  }
  running->result.calls.push_back(call);
  return call.outcome;
}

/// The HAPs of the process are simulated as long as it lives.
class Simulation {
 public:
  explicit Simulation(Run& run) {
    running = &run;
    simulateHAPs(chooseFor);
  }
  Simulation(const Simulation&) = delete;
  Simulation& operator=(const Simulation&) = delete;
  ~Simulation() {
    simulateHAPs(nullptr);
    running = nullptr;
  }
};

/// Runs the table of `info` to its end, adding waits up.
void runToEnd(trx::TRXInfo& info, SimulatedRun& result) {
  trx::TRX* engine = trx::TRX::getInstance();
  for (bool waits = true; waits;) {
    waits = false;
    try {
      engine->execTable(&info);
    } catch (const trx::TRXException& exception) {
      result.code = exception.getCode();
      waits = result.code == trx::kCodeWaitHandOver && exception.getDetail() != 0;
      if (waits) {
        result.wait_ms += exception.getDetail();
        result.code = 0;
      } else {
        result.failure = exceptionText(result.code);
      }
    } catch (const std::exception& exception) {
      result.code = kForeign;
      result.failure = std::string("an exception that is not the engine's: ") + exception.what();
    }
  }
}

}  // namespace

Simulator::Simulator(const std::vector<std::string>& files, unsigned int nest_limit) {
  const SimulationRoot root(files, nest_limit);
  const std::string problem = startEngine(false);
  if (!problem.empty()) {
    throw std::runtime_error(problem);
  }
  tables_ = readTables(files, {}).flows;
}

// Asking for the engine would write a record, which its listener may not.
void Simulator::stop() { running->engine->setStopFlag(true); }

SimulatedRun Simulator::run(const SimulationRequest& request) const {
  SimulatedRun result;
  trx::TRX* engine = trx::TRX::getInstance();
  Run run{request, tables_, result, engine};
  const Simulation simulation(run);
  Units units(request.units);
  trx::TRXInfo info;
  info.setTableName(request.table);
  info.setTableUnitList(units.list());
  RowEvents rows(
      info,
      [&](const RowEvent& event) {
        if (event.is_row) {
          result.rows.push_back({event.table, event.number});
          if (result.rows.size() == request.max_rows) {
            engine->setStopFlag(true);
          }
        }
        if (request.on_event) {
          request.on_event(event);
        }
      },
      request.listener);
  const RecordCollector collector(
      kw::platform::kTraceAll, [&](const kw::platform::TraceRecord& record) { rows.take(record); });
  runToEnd(info, result);
  rows.finish();
  engine->setStopFlag(false);
  // A run that was to be stopped in a row that waits is refused when it is to go on.
  result.is_stopped = result.code == trx::kCodeTableStopped || result.code == trx::kCodeStopped;
  result.reason = rows.reason();
  result.record = failureOf(info, {});
  return result;
}

std::function<HAPOutcome(const HAPCall& call)> failingInTurn(std::vector<bool> fails) {
  return [fails = std::move(fails), made = std::size_t{0}](const HAPCall&) mutable {
    HAPOutcome outcome;
    outcome.kind = made < fails.size() && fails[made] ? HAPOutcome::Kind::kFailure : outcome.kind;
    ++made;
    return outcome;
  };
}

}  // namespace kw::trx::tools
