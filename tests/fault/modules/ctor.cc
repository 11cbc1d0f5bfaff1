// SPDX-License-Identifier: Apache-2.0
// A module whose constructor leaves a failure of the loader behind, and whose HAP tells its
// version.
#include <dlfcn.h>

#include "kw/trx/hap.h"

namespace {

struct Stale {
  Stale() { dlopen("/no/such/library.so", RTLD_NOW); }
} stale;

}  // namespace

ZQM_HAP(CTOR_Ok) { return 0; }
