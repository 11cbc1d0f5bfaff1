// SPDX-License-Identifier: Apache-2.0
// HAPs that do nothing, so that all time spent is the engine's. The build gives each module its own
// names for them. The second name is longer than a text that needs no allocation.
#include "kw/trx/hap.h"

ZQM_HAP(BENCH_HAP) { return 0; }

ZQM_HAP(BENCH_LONG_HAP) { return 0; }
