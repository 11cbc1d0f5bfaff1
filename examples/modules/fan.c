/* SPDX-License-Identifier: Apache-2.0
 * A HAP written in C. */
#include <stddef.h>

#include "kw/trx/hap.h"

enum { kMaxPercent = 100 };

/* Sets the speed of the fan. para[0]: percent; out[0]: the speed it had before. */
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
