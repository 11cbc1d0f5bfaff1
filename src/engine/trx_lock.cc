// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/trx_lock.h"

#include <sys/sem.h>

#include <exception>

#include "kw/trx/errors.h"
#include "support/no_cancellation.h"
#include "support/requester_id.h"
#include "support/trace.h"

namespace kw::trx::trx {
namespace {

constexpr int kNoSemaphore = -1;
constexpr short kTake = -1;
constexpr short kGiveBack = 1;

/// The process as its requester ids have it. In a child of a fork it is another one.
unsigned short ownProcess() { return static_cast<unsigned short>(requesterId() >> 16); }

/// One operation on the system semaphore; false when it failed, for a signal during the wait too.
bool operate(const kw::dev::parts::LibSemaphore& semaphore, short operation) {
  sembuf buffer{};
  buffer.sem_num = semaphore.semNumber;
  buffer.sem_op = operation;
  buffer.sem_flg = semaphore.semFlags;
  return semop(semaphore.id, &buffer, 1) >= 0;
}

}  // namespace

TRXLock::TRXLock(kw::dev::parts::LibSemaphore* semaphore, bool exclusion_control, bool outermost)
    : semaphore_(semaphore) {
  if (semaphore_ == nullptr || !exclusion_control || !outermost) {
    return;
  }
  trace(kLockTake);
  const bool is_free = semaphore_->unchecked || !semaphore_->held;
  if (semaphore_->id == kNoSemaphore || !is_free || !operate(*semaphore_, kTake)) {
    throw TRXException(kCodeLock);
  }
  semaphore_->held = true;
  // Narrow: a host reserves the memory of two fields for this class.
  process_ = ownProcess();
  exceptions_before_ = static_cast<unsigned char>(std::uncaught_exceptions());
  locked_ = true;
}

TRXLock::~TRXLock() noexcept(false) {
  if (!locked_) {
    return;
  }
  if (process_ != ownProcess()) {
    semaphore_->held = false;  // the copy of it that came with the fork: the parent holds it
    return;
  }
  const NoCancellation uncancelled;
  try {
    giveBack();
  } catch (...) {
    // A second exception would end the process: the one that ends this scope goes on alone. One
    // that was in flight before, while its unwinding ran a HAP, has nothing to do with it.
    if (std::uncaught_exceptions() <= exceptions_before_) {
      throw;
    }
  }
}

void TRXLock::giveBack() {
  try {
    trace(kLockGiveBack);
  } catch (...) {
    release();
    throw;
  }
  release();
}

void TRXLock::release() {
  if (semaphore_->id == kNoSemaphore || (!semaphore_->held && !semaphore_->unchecked)) {
    throw TRXException(kCodeUnlock);
  }
  semaphore_->held = false;
  if (!operate(*semaphore_, kGiveBack)) {
    throw TRXException(kCodeUnlock);
  }
}

}  // namespace kw::trx::trx
