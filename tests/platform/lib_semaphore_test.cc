// SPDX-License-Identifier: Apache-2.0
#include "kw/dev/parts/lib_semaphore.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "kw/platform.h"

using kw::dev::parts::LibSemaphore;

namespace {

/// One operation as users of the class make it, without waiting; 0 or the error number.
int operate(const LibSemaphore& semaphore, short operation) {
  const auto flags = static_cast<short>(semaphore.semFlags | IPC_NOWAIT);
  sembuf step{semaphore.semNumber, operation, flags};
  return semop(semaphore.id, &step, 1) == 0 ? 0 : errno;
}

class LibSemaphoreTest : public testing::Test {
 protected:
  ~LibSemaphoreTest() override {
    LibSemaphore left(key_);
    if (left.get() == 0) semctl(left.id, 0, IPC_RMID);
  }

  const int key_ = 0x57000000 | getpid();
};

TEST_F(LibSemaphoreTest, OneHolderOfWhatWasCreatedOnce) {
  LibSemaphore finder(key_);
  EXPECT_FALSE(finder.unchecked || finder.held);
  EXPECT_NE(finder.get(), 0);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(finder.id, -1);
  {
    LibSemaphore creator(key_);
    ASSERT_EQ(creator.create(), 0);
    EXPECT_NE(LibSemaphore(key_).create(), 0);
    EXPECT_EQ(errno, EEXIST);
    ASSERT_EQ(finder.get(), 0);
    EXPECT_EQ(finder.id, creator.id);
  }
  EXPECT_EQ(operate(finder, -1), 0);
  EXPECT_EQ(operate(finder, -1), EAGAIN);
}

TEST_F(LibSemaphoreTest, HolderThatIsKilledGivesBack) {
  LibSemaphore semaphore(key_);
  ASSERT_EQ(semaphore.create(), 0);
  const pid_t child = fork();
  if (child == 0) {
    if (operate(semaphore, -1) != 0) _exit(1);
    raise(SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(operate(semaphore, -1), 0);
}

TEST_F(LibSemaphoreTest, FailsTheCallItWasToldTo) {
  using kw::platform::Fault;
  LibSemaphore semaphore(key_);
  kw::platform::failCall(Fault::kSemaphoreCreate, 1);
  EXPECT_NE(semaphore.create(), 0);
  EXPECT_EQ(semaphore.create(), 0);
  kw::platform::failCall(Fault::kSemaphoreGet, 2);
  EXPECT_EQ(semaphore.get(), 0);
  EXPECT_NE(semaphore.get(), 0);
  EXPECT_EQ(semaphore.id, -1);
}

TEST_F(LibSemaphoreTest, GetChangesNothingOfWhatThisProcessHolds) {
  LibSemaphore semaphore(key_);
  ASSERT_EQ(semaphore.create(), 0);
  ASSERT_EQ(operate(semaphore, -1), 0);
  LibSemaphore other(key_);
  EXPECT_EQ(other.get(), 0);
  EXPECT_EQ(semctl(other.id, 0, GETVAL), 0) << "taken by semop alone";
}

TEST_F(LibSemaphoreTest, OnlyAnUnfinishedSetOfItsOwnIsFinished) {
  for (const int count : {1, 2, 3}) {
    for (const int value : {0, 1}) {  // of one that is used by now
      const int id = semget(key_, count, IPC_CREAT | IPC_EXCL | 0600);
      ASSERT_EQ(semctl(id, 0, SETVAL, 1), 0);
      LibSemaphore other(key_);
      ASSERT_EQ(other.get(), 0);
      EXPECT_EQ(operate(other, -1), 0);
      EXPECT_EQ(value == 0 ? 0 : operate(other, 1), 0);
      EXPECT_NE(other.create(), 0) << count;
      EXPECT_EQ(errno, EEXIST);
      EXPECT_EQ(semctl(id, 0, GETVAL), value) << count;
      semctl(id, 0, IPC_RMID);
    }
    const int unused = semget(key_, count, IPC_CREAT | IPC_EXCL | 0600);
    const bool is_own = count == 2;
    EXPECT_EQ(LibSemaphore(key_).create() == 0, is_own) << count;
    EXPECT_TRUE(is_own || errno == EEXIST);
    EXPECT_EQ(semctl(unused, 0, GETVAL), is_own ? 1 : 0) << count;
    semctl(unused, 0, IPC_RMID);
  }
}

}  // namespace
