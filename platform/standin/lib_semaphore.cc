// SPDX-License-Identifier: Apache-2.0
// The semaphore is the first of a set of two. The second one counts to 1 in the same operation that
// sets the first one free for its first holder, so that this happens once, whoever dies meanwhile
// and however many try it. A set of one semaphore, made by others, is used as it is.
#include "kw/dev/parts/lib_semaphore.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "fault.h"

namespace kw::dev::parts {

namespace {

constexpr int kFailed = -1;
constexpr int kSemaphores = 2;
constexpr unsigned short kSemNumber = 0;
constexpr unsigned short kFinished = 1;
constexpr int kPermissions = 0660;
constexpr short kGiveBack = 1;

/// The greatest value of a semaphore, and of what the system keeps for a process to undo.
constexpr short kMaxValue = 32767;

constexpr int kLooks = 5;
constexpr std::chrono::milliseconds kBetweenLooks{20};

/// The last argument of semctl(2), which the caller has to define.
union SemctlArgument {
  int val;
  semid_ds* buf;
  unsigned short* array;
};

std::mutex objects_mutex;

/// All objects of the process, guarded by the mutex above. Kept to the very end of the process, and
/// not in the objects themselves, whose size their users are built with.
std::vector<const LibSemaphore*>& allObjects() {
  static auto& objects = *new std::vector<const LibSemaphore*>;
  return objects;
}

int fail(int error) {
  errno = error;
  return kFailed;
}

template <std::size_t kCount>
bool operate(int id, sembuf (&operations)[kCount]) {
  return semop(id, operations, kCount) == 0;
}

/// Makes a semaphore that was never used free for one holder; false for any other.
bool finish(int id) {
  semid_ds state{};
  SemctlArgument argument{};
  argument.buf = &state;
  if (semctl(id, kSemNumber, IPC_STAT, argument) < 0) return false;
  if (state.sem_otime != 0) {
    errno = EAGAIN;
    return false;
  }
  if (state.sem_nsems == kSemaphores) {
    sembuf once[] = {{kSemNumber, 0, IPC_NOWAIT},
                     {kFinished, 0, IPC_NOWAIT},
                     {kFinished, 1, 0},
                     {kSemNumber, kGiveBack, 0}};
    return operate(id, once);
  }
  // Nothing counts in another set that it was finished: two who find it unused, and a third who
  // takes it between their operations, could leave it free for two.
  sembuf from_zero[] = {{kSemNumber, 0, IPC_NOWAIT}, {kSemNumber, kGiveBack, 0}};
  return operate(id, from_zero);
}

/// True when the semaphore is at 0 and the system has it on record that this process took it. What
/// is on record cannot be read, but an operation that leaves everything as it was reaches its limit
/// exactly when there is something.
bool isTakenByThisProcess(int id) {
  if (semctl(id, kSemNumber, GETVAL) != 0 || semctl(id, kSemNumber, GETPID) != getpid()) {
    return false;
  }
  sembuf probe[] = {{kSemNumber, 0, IPC_NOWAIT},
                    {kSemNumber, kMaxValue, IPC_NOWAIT},
                    {kSemNumber, -kMaxValue, IPC_NOWAIT | SEM_UNDO},
                    {kSemNumber, kMaxValue, IPC_NOWAIT | SEM_UNDO},
                    {kSemNumber, -kMaxValue, IPC_NOWAIT}};
  return !operate(id, probe) && errno == ERANGE;
}

/// True when a user of any object of this program holds the semaphore.
bool isInUse(int id) {
  const std::lock_guard<std::mutex> lock(objects_mutex);
  const auto& objects = allObjects();
  return std::any_of(objects.begin(), objects.end(), [id](const LibSemaphore* object) {
    return object->id == id && (object->held || object->unchecked);
  });
}

/// Gives back what this process took and nobody in it holds. A thread that has just taken it says
/// so right afterwards: it is looked at again and again before.
void giveBackLeftover(int id) {
  for (int look = 0; look < kLooks; ++look) {
    if (!isTakenByThisProcess(id) || isInUse(id)) return;
    std::this_thread::sleep_for(kBetweenLooks);
  }
  sembuf give_back[] = {{kSemNumber, kGiveBack, SEM_UNDO}};
  operate(id, give_back);
}

}  // namespace

// SEM_UNDO: the system gives the semaphore back for a holder that dies.
LibSemaphore::LibSemaphore(int key)
    : id(-1), held(false), unchecked(false), semNumber(kSemNumber), semFlags(SEM_UNDO), key_(key) {
  const std::lock_guard<std::mutex> lock(objects_mutex);
  allObjects().push_back(this);
}

LibSemaphore::~LibSemaphore() {
  const std::lock_guard<std::mutex> lock(objects_mutex);
  auto& objects = allObjects();
  objects.erase(std::find(objects.begin(), objects.end(), this));
}

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
  if (id < 0) return kFailed;
  giveBackLeftover(id);
  return 0;
}

}  // namespace kw::dev::parts
