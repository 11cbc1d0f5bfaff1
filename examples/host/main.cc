// SPDX-License-Identifier: Apache-2.0
// The demo host: loads the modules of the demo rig, runs HAPs, and says in words what came of them.
#include <cstdio>
#include <string>
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
  void beginHAPExec(TRXInfo*) override { std::printf("    (hardware reserved)\n"); }
  void endHAPExec(TRXInfo*) override { std::printf("    (hardware released)\n"); }
  unsigned int getTraceClass() override { return 100; }
};

void printUnits(const TRXInfo& info) {
  Units units;
  info.error.getErrUnitList(units);
  for (const kw::sysobj::Component* unit : units) {
    std::printf("    concerned: unit %d of type %d\n", unit->getNo(), unit->getType());
  }
}

/// Says what the error record of a failed request holds.
void printFailure(TRXInfo& info, const TRXException& exception) {
  std::printf("    FAILED with exception code 0x%x; error code 0x%x in HAP %s\n",
              exception.getCode(), info.error.getErrCode(), info.error.getErrHAPName().c_str());
  if (info.error.getErrCode() == kw::trx::trx::kRecordUndefinedHAP) {
    std::printf("    no loaded module defines this HAP\n");
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
  if (info.error.getAPIErrorSize() > 0) {
    std::printf("    driver says: %s\n", static_cast<const char*>(info.error.getAPIError()));
  }
  printUnits(info);
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

void runHAPs() {
  demo::Board board;
  kw::sysobj::Component rack(1, 0, "rack");
  kw::sysobj::Component rail(300, 2, "rail2", &rack);
  Units units = {&rail};
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
  runHAPs();
  kw::platform::closeTraceRing();
  return 0;
}
