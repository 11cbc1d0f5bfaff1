// SPDX-License-Identifier: Apache-2.0
// Runs one HAP and one table on the foreign platform and says what came of them.
#include <cstdio>

#include "kw/trx/trx.h"

namespace {

class PlainAPI : public kw::trx::hapapi::HAPAPI {
 public:
  void beginHAPExec(kw::trx::trx::TRXInfo*) override { std::puts("begin"); }
  void endHAPExec(kw::trx::trx::TRXInfo*) override { std::puts("end"); }
  unsigned int getTraceClass() override { return 1; }
};

}  // namespace

int main() {
  using kw::trx::trx::TRX;
  TRX* engine = TRX::getInstance();
  engine->load(false);
  engine->setHAPAPI(new PlainAPI);
  kw::trx::trx::TRXInfo info;
  kw::sysobj::Component fan(303, 0, "fan");
  std::vector<kw::sysobj::Component*> units = {&fan};
  const unsigned int percent = 40;
  unsigned int before = 99;
  engine->execHAP(&info, units, "FAN_SetSpeed", "", &percent, &before);
  info.initialize();
  engine->execTable(&info, units, "fan");
  std::printf("speed before %u\n", before);
  return 0;
}
