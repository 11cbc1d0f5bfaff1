// SPDX-License-Identifier: Apache-2.0
#include "kw/dev/parts/lib_semaphore.h"

#include <sys/ipc.h>
#include <sys/sem.h>

#include <cerrno>

#include "fault.h"

namespace kw::dev::parts {

namespace {

constexpr int kFailed = -1;
constexpr int kSemaphores = 1;
constexpr unsigned short kSemNumber = 0;
constexpr int kFreeForOne = 1;
constexpr int kPermissions = 0660;

/// The last argument of semctl(2), which the caller has to define.
union SemctlArgument {
  int val;
  semid_ds* buf;
  unsigned short* array;
};

int fail(int error) {
  errno = error;
  return kFailed;
}

}  // namespace

// SEM_UNDO: the system gives the semaphore back for a holder that dies.
LibSemaphore::LibSemaphore(int key)
    : id(-1), held(false), unchecked(false), semNumber(kSemNumber), semFlags(SEM_UNDO), key_(key) {}

LibSemaphore::~LibSemaphore() = default;

int LibSemaphore::create() {
  if (platform::mustFail(platform::Fault::kSemaphoreCreate)) return fail(ENOSPC);
  const int created = semget(key_, kSemaphores, IPC_CREAT | IPC_EXCL | kPermissions);
  if (created < 0) return kFailed;
  SemctlArgument argument;
  argument.val = kFreeForOne;
  if (semctl(created, kSemNumber, SETVAL, argument) < 0) {
    // Left behind at 0, it would stop every later holder and could not be created again.
    const int error = errno;
    semctl(created, kSemNumber, IPC_RMID);
    return fail(error);
  }
  id = created;
  return 0;
}

int LibSemaphore::get() {
  id = -1;
  if (platform::mustFail(platform::Fault::kSemaphoreGet)) return fail(ENOENT);
  // Asking for the permissions makes a semaphore that could not be used fail here.
  id = semget(key_, kSemaphores, kPermissions);
  return id < 0 ? kFailed : 0;
}

}  // namespace kw::dev::parts
