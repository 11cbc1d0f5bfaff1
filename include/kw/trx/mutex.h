// SPDX-License-Identifier: Apache-2.0
// A POSIX mutex that clang's thread safety analysis knows.
#ifndef KW_TRX_MUTEX_H_
#define KW_TRX_MUTEX_H_

#include <pthread.h>

#include "kw/trx/export.h"

#ifdef __clang__
#define ZQM_TRX_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define ZQM_TRX_THREAD_SAFETY(attribute)
#endif

/// What a field is guarded by, and what a function takes or must not be called with.
#define ZQM_TRX_GUARDED_BY(mutex) ZQM_TRX_THREAD_SAFETY(guarded_by(mutex))
#define ZQM_TRX_EXCLUDES(...) ZQM_TRX_THREAD_SAFETY(locks_excluded(__VA_ARGS__))

namespace kw::trx::trx {

/// A mutex with default attributes. Its holder calls `init` once before the first use and `destroy`
/// after the last one, or never when it lives as long as the process.
class ZQM_TRX_THREAD_SAFETY(capability("mutex")) Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void init() { pthread_mutex_init(&mutex_, nullptr); }
  void destroy() { pthread_mutex_destroy(&mutex_); }
  void lock() ZQM_TRX_THREAD_SAFETY(acquire_capability()) { pthread_mutex_lock(&mutex_); }
  void unlock() ZQM_TRX_THREAD_SAFETY(release_capability()) { pthread_mutex_unlock(&mutex_); }

 private:
  pthread_mutex_t mutex_;
};

/// Holds `mutex` for its scope. The mutex must outlive it.
class ZQM_TRX_THREAD_SAFETY(scoped_lockable) MutexGuard {
 public:
  explicit MutexGuard(Mutex& mutex) ZQM_TRX_THREAD_SAFETY(acquire_capability(mutex))
      : mutex_(mutex) {
    mutex_.lock();
  }
  MutexGuard(const MutexGuard&) = delete;
  MutexGuard& operator=(const MutexGuard&) = delete;
  ~MutexGuard() ZQM_TRX_THREAD_SAFETY(release_capability()) { mutex_.unlock(); }

 private:
  Mutex& mutex_;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_MUTEX_H_
