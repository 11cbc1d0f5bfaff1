// SPDX-License-Identifier: Apache-2.0
// A HAP that does what the script of its context says.
#include "script.h"

ZQM_HAP(TBL_Run) {
  auto* script = static_cast<kw::trx::testing::Script*>(info->getHAPAPIExpandData());
  return script->run(info, mode == nullptr ? "null" : mode, para);
}
