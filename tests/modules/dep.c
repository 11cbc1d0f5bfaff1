/* SPDX-License-Identifier: Apache-2.0
 * A module with a library of its own, and with a HAP that is chosen when it is loaded. */
#include "kw/trx/hap.h"

int helped(void);

ZQM_HAP(DEP_Run) { return helped(); }

typedef ZQM_HAP_SIGNATURE(Function);

static Function* choose(void) { return DEP_Run; }

__attribute__((visibility("default"), ifunc("choose"))) Function DEP_Chosen;
