// SPDX-License-Identifier: Apache-2.0
// HAPs that do what the host of the truth test says.
#include "steering.h"

namespace {

using kw::trx::trx::TRXInfo;

int follow(TRXInfo* info, const char* name, const char* mode) {
  auto* steering = static_cast<kw::trx::truth::Steering*>(info->getHAPAPIExpandData());
  return steering->run(info, name, mode);
}

}  // namespace

ZQM_HAP(TRU_A) { return follow(info, "TRU_A", mode); }
ZQM_HAP(TRU_B) { return follow(info, "TRU_B", mode); }
ZQM_HAP(TRU_C) { return follow(info, "TRU_C", mode); }
ZQM_HAP(TRU_D) { return follow(info, "TRU_D", mode); }
ZQM_HAP(TRU_E) { return follow(info, "TRU_E", mode); }

extern "C" __attribute__((visibility("default")))
ZQM_HAP_SIGNATURE(tru_latin) __asm__("TRU_\xe9tat");
extern "C" ZQM_HAP_SIGNATURE(tru_latin) { return follow(info, kw::trx::truth::kLatinHAP, mode); }
