// SPDX-License-Identifier: Apache-2.0
// The platform's trailing-zero count.
#ifndef KW_NTZ_HASH64_H_
#define KW_NTZ_HASH64_H_

#include "kw/export.h"

extern "C" {

/// The number of trailing zero bits of `value`, 0 to 63; 64 when `value` is 0.
KW_PLATFORM_API int ntz_hash64(unsigned long long value);

}  // extern "C"

#endif  // KW_NTZ_HASH64_H_
