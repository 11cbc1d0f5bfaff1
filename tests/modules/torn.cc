// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/hap.h"

int definedNowhere();

// The tool has a library that defines this one; hosts have none.
extern "C" unsigned int elf_version(unsigned int version);

ZQM_HAP(TORN_Ok) { return definedNowhere() + static_cast<int>(elf_version(1)); }
