// SPDX-License-Identifier: Apache-2.0
#include "kw/ntz_hash64.h"

#include <limits>

int ntz_hash64(unsigned long long value) {
  return value == 0 ? std::numeric_limits<unsigned long long>::digits : __builtin_ctzll(value);
}
