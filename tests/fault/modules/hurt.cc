// SPDX-License-Identifier: Apache-2.0
// HAPs that notice when two of them run at once, that fork or are replaced by another program, and
// that rest at points of cancellation.
#include <cerrno>
#include <stdexcept>

#include <pthread.h>
#include <unistd.h>

#include "kw/trx/hap.h"

// out: [0] entries, [1] violations, then for each process [2 + i] inside, and then for each whether
// it is about to be killed: what such a process holds is free as soon as it is dead. para[0]: index
// of this process; para[1]: number of processes.
ZQM_HAP(HURT_Guarded) {
  unsigned int* inside = out + 2;
  unsigned int* dying = inside + para[1];
  __atomic_store_n(&inside[para[0]], 1U, __ATOMIC_SEQ_CST);
  for (unsigned int i = 0; i < para[1]; ++i) {
    // In this order: the killer takes the marks away in the other one.
    if (i != para[0] && __atomic_load_n(&dying[i], __ATOMIC_SEQ_CST) == 0 &&
        __atomic_load_n(&inside[i], __ATOMIC_SEQ_CST) != 0) {
      __atomic_fetch_add(&out[1], 1U, __ATOMIC_SEQ_CST);
    }
  }
  __atomic_fetch_add(&out[0], 1U, __ATOMIC_SEQ_CST);
  usleep(200);
  __atomic_store_n(&inside[para[0]], 0U, __ATOMIC_SEQ_CST);
  return 0;
}

// Forks, and returns in the child at once: out[0] there 0. The parent returns when out[1] is set.
ZQM_HAP(HURT_Fork) {
  const pid_t child = fork();
  if (child == 0) {
    return 0;
  }
  out[0] = static_cast<unsigned int>(child);
  while (__atomic_load_n(&out[1], __ATOMIC_ACQUIRE) == 0) {
    usleep(1000);
  }
  return 0;
}

// Replaces its process by its own program, which gets the mode as its only argument.
ZQM_HAP(HURT_Exec) {
  execl("/proc/self/exe", "again", mode, nullptr);
  return errno;
}

// Rests, then throws when para[0] is set; when it is 2, with a cancellation of its thread pending.
ZQM_HAP(HURT_Rest) {
  usleep(1);
  if (para != nullptr && para[0] == 2) {
    pthread_cancel(pthread_self());
  }
  if (para != nullptr && para[0] != 0) {
    throw std::runtime_error("after a rest");
  }
  return 0;
}
