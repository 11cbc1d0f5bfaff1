// SPDX-License-Identifier: Apache-2.0
// Keeps the cancellation of the calling thread away from code that it could not unwind.
#ifndef KW_TRX_SUPPORT_NO_CANCELLATION_H_
#define KW_TRX_SUPPORT_NO_CANCELLATION_H_

#include <pthread.h>

namespace kw::trx::trx {

/// During its scope a cancellation stays pending. For calls from destructors and from the loader's
/// callbacks: the unwinding of a cancelled thread that meets a frame which lets no exception pass
/// ends the process.
class NoCancellation {
 public:
  NoCancellation() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
  NoCancellation(const NoCancellation&) = delete;
  NoCancellation& operator=(const NoCancellation&) = delete;
  ~NoCancellation() { pthread_setcancelstate(before_, nullptr); }

 private:
  int before_ = PTHREAD_CANCEL_ENABLE;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_SUPPORT_NO_CANCELLATION_H_
