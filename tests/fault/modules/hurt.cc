// SPDX-License-Identifier: Apache-2.0
// HAPs that notice when two of them run at once.
#include <unistd.h>

#include "kw/trx/hap.h"

// out: [0] entries, [1] violations, then for each process [2 + i] inside, and then for each whether
// it is about to be killed: what such a process holds is free as soon as it is dead. para[0]: index
// of this process; para[1]: number of processes.
ZQM_HAP(HURT_Guarded) {
  unsigned int* inside = out + 2;
  unsigned int* dying = inside + para[1];
  __atomic_store_n(&inside[para[0]], 1U, __ATOMIC_SEQ_CST);
  for (unsigned int i = 0; i < para[1]; ++i) {
    // In this order: the killer takes the marks away in the other one.
    if (i != para[0] && __atomic_load_n(&dying[i], __ATOMIC_SEQ_CST) == 0 &&
        __atomic_load_n(&inside[i], __ATOMIC_SEQ_CST) != 0) {
      __atomic_fetch_add(&out[1], 1U, __ATOMIC_SEQ_CST);
    }
  }
  __atomic_fetch_add(&out[0], 1U, __ATOMIC_SEQ_CST);
  usleep(200);
  __atomic_store_n(&inside[para[0]], 0U, __ATOMIC_SEQ_CST);
  return 0;
}
