// SPDX-License-Identifier: Apache-2.0
// Runs HAPs and tables on the foreign platform, some of which fail, for a recorder to see. Knows
// nothing of rings.
#include <thread>

#include "kw/trx/trx.h"

namespace {

using kw::trx::trx::TRX;
using kw::trx::trx::TRXInfo;

class PlainAPI : public kw::trx::hapapi::HAPAPI {
 public:
  void beginHAPExec(TRXInfo*) override {}
  void endHAPExec(TRXInfo*) override {}
  unsigned int getTraceClass() override { return 1; }
};

kw::sysobj::Component fan(303, 0, "fan");
std::vector<kw::sysobj::Component*> units = {&fan};

template <typename Request>
void run(const Request& request) {
  TRXInfo info;
  try {
    request(&info);
  } catch (const kw::trx::trx::TRXException&) {
    // The ring tells.
  }
}

void runHAP(unsigned int percent) {
  run([&percent](TRXInfo* info) {
    unsigned int before = 0;
    TRX::getInstance()->execHAP(info, units, "FAN_SetSpeed", "", &percent, &before);
  });
}

void runTable(const char* name) {
  run([name](TRXInfo* info) { TRX::getInstance()->execTable(info, units, name); });
}

}  // namespace

int main() {
  TRX::getInstance()->load(false);
  TRX::getInstance()->setHAPAPI(new PlainAPI);
  runHAP(40);
  runHAP(400);
  std::thread(runTable, "fan").join();
  runTable("none");
  return 0;
}
