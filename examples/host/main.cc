// SPDX-License-Identifier: Apache-2.0
// The demo host: loads the modules and tables of the demo rig, runs HAPs and tables, and says in
// words what came of them.
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "board.h"
#include "kw/platform.h"
#include "kw/trx/trx.h"

namespace {

using kw::trx::trx::TRX;
using kw::trx::trx::TRXException;
using kw::trx::trx::TRXInfo;
using Units = std::vector<kw::sysobj::Component*>;

constexpr std::size_t kTraceRecords = 4096;

/// What the engine notifies around each outermost HAP. A real host would reserve the hardware here.
class DemoAPI : public kw::trx::hapapi::HAPAPI {
 public:
  void beginHAPExec(TRXInfo*) override { std::printf("    hardware reserved\n"); }
  void endHAPExec(TRXInfo*) override { std::printf("    hardware released\n"); }
  unsigned int getTraceClass() override { return 100; }
};

void printUnits(const TRXInfo& info) {
  Units units;
  info.error.getErrUnitList(units);
  for (const kw::sysobj::Component* unit : units) {
    std::printf("    concerned: unit %d of type %d\n", unit->getNo(), unit->getType());
  }
}

/// Says where in the tables a request failed, and with which message.
void printTable(const TRXInfo& info) {
  if (!info.error.errTableName.empty()) {
    std::printf("    first failure: table %s, row number %x\n", info.error.errTableName.c_str(),
                info.error.errCmdNumber);
  }
  if (!info.getTblRtnMsg().empty()) {
    std::printf("    message of the table: %s\n", info.getTblRtnMsg().c_str());
  }
}

/// Says what the error record of a failed request holds.
void printFailure(TRXInfo& info, const TRXException& exception) {
  const unsigned int code = info.error.getErrCode();
  std::printf("    FAILED with exception code 0x%x; error code 0x%x\n", exception.getCode(), code);
  if (!info.error.getErrHAPName().empty()) {
    std::printf("    the HAP that failed is %s\n", info.error.getErrHAPName().c_str());
  }
  if (code == kw::trx::trx::kRecordUndefinedHAP) {
    std::printf("    no loaded module defines this HAP\n");
  }
  if (code == kw::trx::trx::kRecordTableNotLoaded) {
    std::printf("    no loaded table has the name that the run asked for\n");
  }
  const unsigned int size = info.error.getHAPErrorDetailSize();
  std::vector<unsigned int> detail(size / sizeof(unsigned int));
  if (!detail.empty()) {
    info.error.getHAPErrorDetail(detail.data(), size);
    std::printf("    detail:");
    for (const unsigned int word : detail) {
      std::printf(" %u", word);
    }
    std::printf("\n");
  }
  if ((code & kw::trx::trx::kRecordClassAPI) != 0 && info.error.getAPIErrorSize() > 0) {
    std::printf("    driver says: %s\n", static_cast<const char*>(info.error.getAPIError()));
  }
  printUnits(info);
  printTable(info);
}

/// Runs one HAP in a fresh context and prints what came of it.
void run(demo::Board& board, Units& units, const std::string& hap, const std::string& mode,
         std::vector<unsigned int> para) {
  std::printf("  %s on rail2", hap.c_str());
  if (!mode.empty()) {
    std::printf(", mode %s", mode.c_str());
  }
  for (const unsigned int word : para) {
    std::printf(", %u", word);
  }
  std::printf("\n");
  TRXInfo info;
  info.setHAPAPIExpandData(new demo::BoardLink(board));
  unsigned int out[1] = {0};
  try {
    TRX::getInstance()->execHAP(&info, units, hap, mode, para.data(), out);
    std::printf("    ok, result %u\n", out[0]);
  } catch (const TRXException& exception) {
    printFailure(info, exception);
  }
}

/// Goes on with the table of `info` until it has ended. The configuration hands waits to us: we
/// wait and call the engine again with the same context.
void resumeUntilEnd(TRXInfo& info) {
  while (true) {
    try {
      TRX::getInstance()->execTable(&info);
      return;
    } catch (const TRXException& exception) {
      if (exception.getCode() != kw::trx::trx::kCodeWaitHandOver) {
        throw;
      }
      std::printf("    the table waits %u ms: we wait and resume it\n", exception.getDetail());
      std::this_thread::sleep_for(std::chrono::milliseconds(exception.getDetail()));
    }
  }
}

/// Runs one table in a fresh context and prints what came of it.
void runTable(demo::Board& board, Units& units, const std::string& table) {
  std::printf("  table %s on rail2\n", table.c_str());
  TRXInfo info;
  info.setHAPAPIExpandData(new demo::BoardLink(board));
  info.setTableUnitList(units);
  info.setTableName(table);
  try {
    resumeUntilEnd(info);
    std::printf("    ok\n");
  } catch (const TRXException& exception) {
    printFailure(info, exception);
  }
}

void runTables(Units& units) {
  demo::Board board;
  std::printf("A table that ends well, resumed after its waits\n");
  runTable(board, units, "init");
  std::printf("A table that calls another and ends well\n");
  runTable(board, units, "selftest");
  std::printf("The same on a board without power\n");
  demo::Board dead_board;
  runTable(dead_board, units, "selftest");
  std::printf("A table that is not loaded\n");
  runTable(board, units, "shutdown");
}

void runHAPs(Units& units) {
  demo::Board board;
  std::printf("HAPs that succeed\n");
  run(board, units, "PSU_SetVoltage", "", {3300});
  run(board, units, "ADC_Measure", "", {});
  run(board, units, "PSU_PowerUp", "fast", {5000});
  run(board, units, "ADC_Measure", "", {});
  run(board, units, "FAN_SetSpeed", "", {80});
  std::printf("HAPs that fail\n");
  run(board, units, "PSU_SetVoltage", "", {99000});
  run(board, units, "PSU_PowerUp", "", {6000});
  run(board, units, "ADC_Calibrate", "", {});
  run(board, units, "PSU_Explode", "", {});
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: demo_host SYSTEM_ROOT\n");
    return 2;
  }
  const std::string root = argv[1];
  kw::platform::setSystemRoot(root);
  if (kw::platform::openTraceRing(root + "/trace.ring", kTraceRecords) != 0) {
    std::perror("demo_host: trace.ring");
    return 2;
  }
  try {
    TRX::startUp();
    TRX::getInstance()->load(false);
    TRX::getInstance()->setHAPAPI(new DemoAPI);
  } catch (const TRXException& exception) {
    std::fprintf(stderr, "demo_host: the load failed with code 0x%x; the trace says why\n",
                 exception.getCode());
    return 1;
  }
  kw::sysobj::Component rack(1, 0, "rack");
  kw::sysobj::Component rail(300, 2, "rail2", &rack);
  Units units = {&rail};
  runHAPs(units);
  runTables(units);
  kw::platform::closeTraceRing();
  return 0;
}
