// SPDX-License-Identifier: Apache-2.0
// The guard that lets only one outermost HAP run at a time among all processes.
#ifndef KW_TRX_TRX_LOCK_H_
#define KW_TRX_TRX_LOCK_H_

#include "kw/dev/parts/lib_semaphore.h"
#include "kw/trx/export.h"

namespace kw::trx::trx {

/// Key of the system semaphore that all processes share.
constexpr int kExclusionSemaphoreKey = 5700000;

/// Takes the system semaphore for its scope. A holder in another process is waited for; a holder in
/// this process that uses the same semaphore object refuses at once. A child of a fork that leaves
/// the scope of its parent's guard gives nothing back.
class ZQM_TRX_API TRXLock {
 public:
  /// Takes `semaphore` when it is not null and both flags are true; does nothing otherwise. The
  /// semaphore object stays the caller's and must outlive the guard. Throws `TRXException`
  /// `kCodeLock` when it cannot take it; a signal that interrupts the wait is such a case.
  TRXLock(kw::dev::parts::LibSemaphore* semaphore, bool exclusion_control, bool outermost);
  TRXLock(const TRXLock&) = delete;
  TRXLock& operator=(const TRXLock&) = delete;

  /// Gives the semaphore back when this guard took it. Throws `TRXException` `kCodeUnlock` when it
  /// cannot, unless the scope ends by another exception: that one goes on then.
  virtual ~TRXLock() noexcept(false);

 private:
  void giveBack();
  void release();

  kw::dev::parts::LibSemaphore* semaphore_;
  bool locked_ = false;
  unsigned char exceptions_before_ = 0;
  unsigned short process_ = 0;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_TRX_LOCK_H_
