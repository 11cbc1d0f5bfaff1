/* SPDX-License-Identifier: Apache-2.0
 * A module in C, through whose HAP an exception passes. */
#include <stddef.h>

#include "kw/trx/hap.h"

int throwFromC(unsigned int value);

ZQM_HAP(PLAIN_Pass) { return para == NULL ? 0 : throwFromC(para[0]); }
