// SPDX-License-Identifier: Apache-2.0
// The semaphore is the first of a set of two. The second one counts to 1 in the same operation that
// sets the first one free for its first holder, so that this happens once, whoever dies meanwhile
// and however many try it. A set that others made is used as it is.
#include "kw/dev/parts/lib_semaphore.h"

#include <sys/ipc.h>
#include <sys/sem.h>

#include <cerrno>
#include <iterator>

#include "fault.h"

namespace kw::dev::parts {

namespace {

constexpr int kFailed = -1;
constexpr int kSemaphores = 2;
constexpr unsigned short kSemNumber = 0;
constexpr unsigned short kFinished = 1;
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

/// Makes a set of this class that was never used free for one holder; false for any other.
bool finish(int id) {
  semid_ds state{};
  SemctlArgument argument{};
  argument.buf = &state;
  if (semctl(id, kSemNumber, IPC_STAT, argument) < 0) return false;
  if (state.sem_nsems != kSemaphores || state.sem_otime != 0) {
    errno = EEXIST;
    return false;
  }
  sembuf once[] = {{kSemNumber, 0, IPC_NOWAIT},
                   {kFinished, 0, IPC_NOWAIT},
                   {kFinished, 1, 0},
                   {kSemNumber, 1, 0}};
  return semop(id, once, std::size(once)) == 0;
}

}  // namespace

// SEM_UNDO: the system gives the semaphore back for a holder that dies.
LibSemaphore::LibSemaphore(int key)
    : id(-1), held(false), unchecked(false), semNumber(kSemNumber), semFlags(SEM_UNDO), key_(key) {}

LibSemaphore::~LibSemaphore() = default;

int LibSemaphore::create() {
  if (platform::mustFail(platform::Fault::kSemaphoreCreate)) return fail(ENOSPC);
  int found = semget(key_, kSemaphores, IPC_CREAT | IPC_EXCL | kPermissions);
  if (found < 0 && errno == EEXIST) found = semget(key_, 0, kPermissions);
  if (found < 0) return kFailed;
  if (!finish(found)) return fail(errno == EAGAIN ? EEXIST : errno);
  id = found;
  return 0;
}

int LibSemaphore::get() {
  id = -1;
  if (platform::mustFail(platform::Fault::kSemaphoreGet)) return fail(ENOENT);
  // Asking for the permissions makes a semaphore that could not be used fail here.
  id = semget(key_, 1, kPermissions);
  return id < 0 ? kFailed : 0;
}

}  // namespace kw::dev::parts
