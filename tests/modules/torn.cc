// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/hap.h"

int definedNowhere();

ZQM_HAP(TORN_Ok) { return definedNowhere(); }
