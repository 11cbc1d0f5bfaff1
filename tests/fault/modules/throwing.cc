// SPDX-License-Identifier: Apache-2.0
// A module whose constructor throws.
#include <stdexcept>

#include "kw/trx/hap.h"

namespace {

struct Throwing {
  Throwing() { throw std::runtime_error("constructor of a module"); }
} throwing;

}  // namespace

ZQM_HAP(THROWING_Ok) { return 0; }
