// SPDX-License-Identifier: Apache-2.0
// Scope guard of a POSIX mutex.
#ifndef KW_TRX_SUPPORT_MUTEX_GUARD_H_
#define KW_TRX_SUPPORT_MUTEX_GUARD_H_

#include <pthread.h>

namespace kw::trx::trx {

/// Holds `mutex` for its scope. The mutex must outlive it.
class MutexGuard {
 public:
  explicit MutexGuard(pthread_mutex_t& mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
  MutexGuard(const MutexGuard&) = delete;
  MutexGuard& operator=(const MutexGuard&) = delete;
  ~MutexGuard() { pthread_mutex_unlock(&mutex_); }

 private:
  pthread_mutex_t& mutex_;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_SUPPORT_MUTEX_GUARD_H_
