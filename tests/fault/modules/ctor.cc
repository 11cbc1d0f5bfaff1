// SPDX-License-Identifier: Apache-2.0
// A module whose constructor leaves a failure of the loader behind, and which rests at a point of
// cancellation there and in its destructor.
#include <dlfcn.h>
#include <unistd.h>

#include "kw/trx/hap.h"

namespace {

struct Stale {
  Stale() {
    usleep(1);
    dlopen("/no/such/library.so", RTLD_NOW);
  }
  ~Stale() { usleep(1); }
} stale;

}  // namespace

ZQM_HAP(CTOR_Ok) { return 0; }
