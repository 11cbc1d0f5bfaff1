// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/hap.h"

ZQM_HAP(DBGTOOL_Ok) { return 0; }
