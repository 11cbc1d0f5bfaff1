// SPDX-License-Identifier: Apache-2.0
// The exclusion semaphore when processes die before it is finished, fork or exec while they hold
// it, or lose the permission to give it back.
#include <dlfcn.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "kw/trx/testing/engine_fixture.h"
#include "kw/trx/trx_lock.h"

namespace {

/// Calls on semaphores until the process is killed just before one of them; 0 for never.
std::atomic<int> calls_to_live{0};

template <typename Function>
Function* next(const char* name) {
  if (calls_to_live > 0 && --calls_to_live == 0) {
    kill(getpid(), SIGKILL);
  }
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// Those that the platform library calls.
extern "C" int semget(key_t key, int count, int flags) noexcept {
  return next<int(key_t, int, int)>("semget")(key, count, flags);
}
extern "C" int semop(int id, sembuf* operations, size_t count) noexcept {
  return next<int(int, sembuf*, size_t)>("semop")(id, operations, count);
}

namespace kw::trx::testing {
namespace {

constexpr unsigned int kTimeOutSeconds = 60;
constexpr int kSkipped = 77;

class LockFaultTest : public EngineFixture {
 protected:
  LockFaultTest()
      : shared_(static_cast<unsigned int*>(
            mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {
    alarm(kTimeOutSeconds);  // in place of a hang
    remove();
  }
  ~LockFaultTest() override {
    remove();
    munmap(shared_, 4096);
  }

  static int id() { return semget(trx::kExclusionSemaphoreKey, 0, 0); }
  static int value() { return semctl(id(), 0, GETVAL); }
  static void remove() { semctl(id(), 0, IPC_RMID); }
  static void operate(short operation) {
    sembuf buffer = {0, operation, SEM_UNDO};
    ASSERT_EQ(semop(id(), &buffer, 1), 0);
  }

  void startExclusive() {
    trx::TRX::startUp();
    configure({MODULE_HURT, MODULE_TST}, {}, "hapmodule.exec.exclusion.control=on\n");
    start();
  }

  std::string run(const std::string& name, unsigned int* out = nullptr, const char* mode = "") {
    trx::TRXInfo info;
    return execHAP(info, name, mode, nullptr, out);
  }

  static int statusOf(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return status;
  }

  template <typename Body>
  static pid_t inChild(const Body& body) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(kTimeOutSeconds);
      _exit(body());
    }
    return child;
  }

  unsigned int* shared_;
};

TEST_F(LockFaultTest, StartUpKilledBetweenItsCallsIsFinishedByTheNextOnes) {
  int killed = 0;
  for (int calls = 1;; ++calls) {
    remove();
    const int status = statusOf(inChild([calls] {
      calls_to_live = calls;
      return trx::TRX::startUp();
    }));
    if (WIFEXITED(status)) {
      break;
    }
    ++killed;
    // Two at once, and one of them says that it was the one.
    TraceCapture capture;
    std::thread other([] { trx::TRX::startUp(); });
    trx::TRX::startUp();
    other.join();
    const std::string trail = capture.trail();
    EXPECT_NE(trail.find("I 4008001"), trail.npos) << trail;
    EXPECT_NE(trail.find("E 4008000"), trail.npos) << trail;
    EXPECT_EQ(value(), 1) << "killed before call " << calls;
    operate(-1);
    trx::TRX::startUp();
    EXPECT_EQ(value(), 0) << "one that is held is never raised";
  }
  EXPECT_GE(killed, 2);
}

TEST_F(LockFaultTest, ManyStartUpsOfAnUnfinishedSemaphoreEndAtOne) {
  for (int round = 0; round < 20; ++round) {
    remove();
    ASSERT_NE(semget(trx::kExclusionSemaphoreKey, 2, IPC_CREAT | IPC_EXCL | 0660), -1);
    pid_t children[4];
    for (pid_t& child : children) {
      child = inChild([] { return trx::TRX::startUp(); });
    }
    for (const pid_t child : children) {
      EXPECT_EQ(statusOf(child), 0);
    }
    EXPECT_EQ(value(), 1);
    operate(-1);
    trx::TRX::startUp();
    EXPECT_EQ(value(), 0);
  }
}

TEST_F(LockFaultTest, ChildThatReturnsFromTheHAPOfItsParentGivesNothingBack) {
  startExclusive();
  const pid_t self = getpid();
  const std::string outcome = run("HURT_Fork", shared_);
  if (getpid() != self) {
    alarm(kTimeOutSeconds);
    const bool held_by_parent = outcome == "ok" && value() == 0;
    __atomic_store_n(&shared_[1], 1U, __ATOMIC_RELEASE);
    _exit(held_by_parent && run("TST_Ok") == "ok" ? 0 : 1);  // waits for the parent
  }
  EXPECT_EQ(outcome, "ok");
  EXPECT_EQ(statusOf(static_cast<pid_t>(shared_[0])), 0);
  EXPECT_EQ(value(), 1);
}

TEST_F(LockFaultTest, ProgramThatReplacedOneInsideAHAPHoldsTheSemaphoreUntilItEnds) {
  startExclusive();
  const pid_t child = inChild([this] {
    const std::string filter = "--gtest_filter=LockAfterExec.*";
    return run("HURT_Exec", nullptr, filter.c_str()) == "ok" ? 0 : kSkipped;
  });
  const int status = statusOf(child);
  if (WIFEXITED(status) && WEXITSTATUS(status) == kSkipped) {
    GTEST_SKIP() << "programs of this architecture cannot be started from within";
  }
  EXPECT_EQ(status, 0);
  EXPECT_EQ(value(), 1);
}

/// What runs in the new program; by itself it finds a semaphore that nobody holds.
class LockAfterExec : public EngineFixture {};

TEST_F(LockAfterExec, LoadsChangeNothing) {
  trx::TRX::startUp();
  const int id = semget(trx::kExclusionSemaphoreKey, 0, 0);
  const int before = semctl(id, 0, GETVAL);
  configure({MODULE_TST}, {}, "hapmodule.exec.exclusion.control=on\n");
  start();
  EXPECT_EQ(semctl(id, 0, GETVAL), before);
}

TEST_F(LockFaultTest, WhatCannotBeGivenBackStaysTakenUntilTheProcessEnds) {
  startExclusive();
  semid_ds state{};
  union {
    semid_ds* buf;
  } argument{&state};
  ASSERT_EQ(semctl(id(), 0, IPC_STAT, argument), 0);
  const auto permit = [&](unsigned int mode) {
    state.sem_perm.mode = static_cast<decltype(state.sem_perm.mode)>(mode);
    return semctl(id(), 0, IPC_SET, argument) == 0;
  };
  constexpr uid_t kNobody = 65534;
  const bool is_root = geteuid() == 0;
  const int semaphore = id();
  const pid_t child = inChild([&] {
    std::string outcome;
    std::thread holding([&] { outcome = run("TST_Hold", shared_); });
    while (__atomic_load_n(&shared_[0], __ATOMIC_ACQUIRE) == 0) {
      usleep(1000);
    }
    const bool refuses = permit(0) && (!is_root || seteuid(kNobody) == 0);
    __atomic_store_n(&shared_[1], 1U, __ATOMIC_RELEASE);
    holding.join();
    const bool told = outcome == "TRX 7000d" && run("TST_Ok") == "TRX 7000c";
    const bool allows = (!is_root || seteuid(0) == 0) && permit(0660);
    engine->load(false);
    return refuses && told && allows && semctl(semaphore, 0, GETVAL) == 0 ? 0 : 1;
  });
  EXPECT_EQ(statusOf(child), 0);
  EXPECT_EQ(value(), 1);
  EXPECT_EQ(run("TST_Ok"), "ok");
}

TEST_F(LockFaultTest, LoadRaisesNothingThatIsTaken) {
  startExclusive();
  std::thread holding([this] { EXPECT_EQ(run("TST_Hold", shared_), "ok"); });
  while (__atomic_load_n(&shared_[0], __ATOMIC_ACQUIRE) == 0) {
    usleep(1000);
  }
  kw::dev::parts::LibSemaphore other(trx::kExclusionSemaphoreKey);
  EXPECT_EQ(other.get(), 0);
  EXPECT_EQ(value(), 0) << "by a thread of this process";
  __atomic_store_n(&shared_[1], 1U, __ATOMIC_RELEASE);
  holding.join();
  semctl(id(), 0, SETVAL, 0);
  engine->load(false);
  EXPECT_EQ(value(), 0) << "by somebody who set it";
}

}  // namespace
}  // namespace kw::trx::testing
