/* SPDX-License-Identifier: Apache-2.0
 * A HAP written in C. */
#include <stddef.h>

#include "kw/trx/hap.h"
#include "kw/trx/hap_description.h"

enum { kMaxPercent = 100 };

ZQM_HAP_ABOUT(FAN_SetSpeed, "Sets the speed of the fan");
ZQM_HAP_PARA(FAN_SetSpeed, 0, "speed", "%", 0, 100);
ZQM_HAP_RESULT(FAN_SetSpeed, 0, "speed before", "%");
ZQM_HAP(FAN_SetSpeed) {
  static unsigned int percent = 0;
  if (para == NULL || para[0] > kMaxPercent) {
    return 1;
  }
  const unsigned int before = __atomic_exchange_n(&percent, para[0], __ATOMIC_RELAXED);
  if (out != NULL) {
    out[0] = before;
  }
  return 0;
}
