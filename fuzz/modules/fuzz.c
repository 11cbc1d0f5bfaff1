// SPDX-License-Identifier: Apache-2.0
// HAPs for random tables.
#include <stddef.h>

#include "kw/trx/hap.h"

ZQM_HAP(FUZZ_Ok) { return 0; }

// Fails by its first parameter word.
ZQM_HAP(FUZZ_Maybe) { return para != NULL && para[0] != 0; }
