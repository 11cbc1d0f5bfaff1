// SPDX-License-Identifier: Apache-2.0
#include "support/forks.h"

#include <pthread.h>

namespace kw::trx::trx {
namespace {

unsigned char forks = 0;  // changed while the child has one thread alone

void countFork() { ++forks; }

[[maybe_unused]] const int kRegistered = pthread_atfork(nullptr, nullptr, countFork);

}  // namespace

unsigned char forksBefore() { return forks; }

}  // namespace kw::trx::trx
