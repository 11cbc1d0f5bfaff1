// SPDX-License-Identifier: Apache-2.0
#include "support/requester_id.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace kw::trx::trx {
namespace {

// 0 while not known. No process or thread has the id 0, and the process id whose low 16 bits are 0
// together with such a thread id is only fetched again each time.
//
// The general model of thread-local storage costs a call for each access.
__attribute__((tls_model("initial-exec"))) thread_local unsigned int cached_id = 0;

void forget() { cached_id = 0; }

// The child of a fork has the ids of its parent's thread in its copy of the cache. The one thread
// that it has is the one that forked, so clearing its copy is enough. Without the registration
// nothing may be cached.
const bool kForgottenInChildren = pthread_atfork(nullptr, nullptr, forget) == 0;

unsigned int fetch() {
  const auto process = static_cast<unsigned int>(getpid());
  const auto thread = static_cast<unsigned int>(syscall(SYS_gettid));
  return process << 16 | (thread & 0xffffU);
}

}  // namespace

unsigned int requesterId() {
  if (cached_id != 0) {
    return cached_id;
  }
  const unsigned int id = fetch();
  if (kForgottenInChildren) {
    cached_id = id;
  }
  return id;
}

}  // namespace kw::trx::trx
