/* SPDX-License-Identifier: Apache-2.0
 * A module in C, through whose HAP an exception passes. */
#include <stddef.h>

#include "kw/trx/hap.h"
#include "kw/trx/hap_description.h"

#define MOST 256

int throwFromC(unsigned int value);

ZQM_HAP_ABOUT(PLAIN_Pass, "Says \"yes\", or throws what para[0] says");
ZQM_HAP_PARA(PLAIN_Pass, 0, "code", "", 0x10, MOST);
ZQM_HAP_MODE(PLAIN_Pass, "", "always");
ZQM_HAP_MODE(PLAIN_Pass, "fast", "at \033[1monce\xc2\x9b");
ZQM_HAP_RESULT(PLAIN_Pass, 0, "time", "ms");
ZQM_HAP_ERROR(PLAIN_Pass, 0x20077u, "the pass is closed");
ZQM_HAP_ABOUT(PLAIN_Gone, "Nobody exports it");
ZQM_HAP(PLAIN_Pass) { return para == NULL ? 0 : throwFromC(para[0]); }
