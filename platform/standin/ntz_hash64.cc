// SPDX-License-Identifier: Apache-2.0
#include "kw/ntz_hash64.h"

int ntz_hash64(unsigned long long value) {
  constexpr int kBits = 64;
  return value == 0 ? kBits : __builtin_ctzll(value);
}
