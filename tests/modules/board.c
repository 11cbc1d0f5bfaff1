/* SPDX-License-Identifier: Apache-2.0
 * A module that uses the platform library of its board directly. */
#include "kw/trx/hap.h"

int board_temperature(void);

ZQM_HAP(BRD_Read) { return board_temperature(); }
