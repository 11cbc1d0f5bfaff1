// SPDX-License-Identifier: Apache-2.0
// Keeps the cancellation of the calling thread away for a scope; it stays pending.
#ifndef KW_RING_NO_CANCELLATION_H_
#define KW_RING_NO_CANCELLATION_H_

#include <pthread.h>

namespace kw::platform {

/// For the closing of files in destructors, and for what waits in the middle of a change: neither
/// could be unwound.
class NoCancellation {
 public:
  NoCancellation() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
  NoCancellation(const NoCancellation&) = delete;
  NoCancellation& operator=(const NoCancellation&) = delete;
  ~NoCancellation() { pthread_setcancelstate(before_, nullptr); }

 private:
  int before_ = PTHREAD_CANCEL_ENABLE;
};

}  // namespace kw::platform

#endif  // KW_RING_NO_CANCELLATION_H_
