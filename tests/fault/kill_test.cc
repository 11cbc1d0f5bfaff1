// SPDX-License-Identifier: Apache-2.0
// Processes killed while they hold the exclusion semaphore.
#include <signal.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

#include "kw/trx/testing/engine_fixture.h"
#include "kw/trx/trx_lock.h"

namespace kw::trx::testing {
namespace {

constexpr unsigned int kProcesses = 3;
constexpr int kKills = 30;

/// Words that all processes share, as HURT_Guarded lays them out, and where a holder may be killed.
struct Shared {
  unsigned int entries;
  unsigned int violations;
  std::array<unsigned int, kProcesses> inside;
  std::array<unsigned int, kProcesses> dying;
  std::array<unsigned int, kProcesses> ended;  ///< HAP over, semaphore still held
  unsigned int hold[2];                        ///< of TST_Hold: it runs; it may end
};

class LockKillTest : public EngineFixture {
 protected:
  LockKillTest()
      : shared_(static_cast<Shared*>(mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                                          MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {
    removeSemaphore();
    trx::TRX::startUp();
    configure({MODULE_HURT, MODULE_TST}, {}, "hapmodule.exec.exclusion.control=on\n");
  }
  ~LockKillTest() override {
    removeSemaphore();
    munmap(shared_, sizeof(Shared));
  }

  static void removeSemaphore() {
    kw::dev::parts::LibSemaphore semaphore(trx::kExclusionSemaphoreKey);
    if (semaphore.get() == 0) {
      semctl(semaphore.id, 0, IPC_RMID);
    }
  }

  /// Notes when the HAP of this process is over and the semaphore is about to be given back.
  static void onRecord(void* context, unsigned long, unsigned int, unsigned short, unsigned long id,
                       const void*, int) {
    if (id == 0x8001000) {
      __atomic_store_n(static_cast<unsigned int*>(context), 1U, __ATOMIC_SEQ_CST);
      usleep(200);
      __atomic_store_n(static_cast<unsigned int*>(context), 0U, __ATOMIC_SEQ_CST);
    }
  }

  /// Runs the guarded HAP again and again until killed.
  [[noreturn]] void runForever(unsigned int index) {
    kw::platform::setTraceListener(&LockKillTest::onRecord, &shared_->ended[index]);
    start();
    const unsigned int para[] = {index, kProcesses};
    while (true) {
      trx::TRXInfo info;
      if (execHAP(info, "HURT_Guarded", "", para, &shared_->entries) != "ok") {
        _exit(1);
      }
    }
  }

  pid_t spawn(unsigned int index) {
    const pid_t child = fork();
    if (child == 0) {
      runForever(index);
    }
    return child;
  }

  Shared* shared_;
};

TEST_F(LockKillTest, SemaphoreIsFreedByEveryDeathAndNeverHeldTwice) {
  std::array<pid_t, kProcesses> children{};
  for (unsigned int i = 0; i < kProcesses; ++i) {
    children[i] = spawn(i);
  }
  std::array<unsigned int, 2> killed_there{};  // inside the HAP, and after it
  for (int round = 0; round < kKills; ++round) {
    const unsigned int victim = static_cast<unsigned int>(round) % kProcesses;
    const bool after_end = round % 2 == 1;
    unsigned int* phase = after_end ? &shared_->ended[victim] : &shared_->inside[victim];
    while (__atomic_load_n(phase, __ATOMIC_SEQ_CST) == 0) {
    }
    __atomic_store_n(&shared_->dying[victim], 1U, __ATOMIC_SEQ_CST);
    kill(children[victim], SIGKILL);
    int status = 0;
    waitpid(children[victim], &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status)) << "no process ended by itself";
    killed_there[after_end ? 1 : 0] += __atomic_load_n(phase, __ATOMIC_SEQ_CST);
    __atomic_store_n(&shared_->ended[victim], 0U, __ATOMIC_SEQ_CST);
    __atomic_store_n(&shared_->inside[victim], 0U, __ATOMIC_SEQ_CST);
    __atomic_store_n(&shared_->dying[victim], 0U, __ATOMIC_SEQ_CST);
    const unsigned int before = __atomic_load_n(&shared_->entries, __ATOMIC_SEQ_CST);
    children[victim] = spawn(victim);
    while (__atomic_load_n(&shared_->entries, __ATOMIC_SEQ_CST) < before + 2) {
      usleep(100);  // the others go on
    }
  }
  for (unsigned int& dying : shared_->dying) {
    __atomic_store_n(&dying, 1U, __ATOMIC_SEQ_CST);
  }
  for (const pid_t child : children) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  EXPECT_EQ(shared_->violations, 0U);
  EXPECT_GT(killed_there[0], 0U);
  EXPECT_GT(killed_there[1], 0U);
}

TEST_F(LockKillTest, ChildOfAQuietProcessRunsRequestsOfItsOwnUnderTheLock) {
  start();
  const unsigned int para[] = {0, kProcesses};
  trx::TRXInfo info;
  EXPECT_EQ(execHAP(info, "HURT_Guarded", "", para, &shared_->entries), "ok");
  const pid_t child = fork();
  if (child == 0) {
    trx::TRXInfo own;
    const bool ok = execHAP(own, "HURT_Guarded", "", para, &shared_->entries) == "ok" &&
                    own.trxId == trx::TRX::getTRXID() && own.trxId != info.trxId;
    engine->load(false);
    _exit(ok ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST_F(LockKillTest, RaisedLockLetsAsManyHAPsRunAsItsValue) {
  start();
  kw::dev::parts::LibSemaphore semaphore(trx::kExclusionSemaphoreKey);
  semaphore.get();
  semctl(semaphore.id, 0, SETVAL, 2);
  const pid_t child = fork();
  if (child == 0) {
    trx::TRXInfo holder;
    _exit(execHAP(holder, "TST_Hold", "", nullptr, shared_->hold) == "ok" ? 0 : 1);
  }
  while (__atomic_load_n(&shared_->hold[0], __ATOMIC_ACQUIRE) == 0) {
    usleep(100);
  }
  trx::TRXInfo info;
  EXPECT_EQ(execHAP(info, "TST_Ok"), "ok");
  __atomic_store_n(&shared_->hold[1], 1U, __ATOMIC_RELEASE);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST_F(LockKillTest, RemovedOrForbiddenLockIsNoHang) {
  start();
  kw::dev::parts::LibSemaphore semaphore(trx::kExclusionSemaphoreKey);
  semaphore.get();
  semctl(semaphore.id, 0, SETVAL, 0);  // somebody holds it
  const pid_t child = fork();
  if (child == 0) {
    trx::TRXInfo waiting;
    _exit(execHAP(waiting, "TST_Ok") == "TRX 7000c" ? 0 : 1);
  }
  while (semctl(semaphore.id, 0, GETNCNT) == 0) {
    usleep(100);
  }
  removeSemaphore();
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0) << "removed while waited for";

  ASSERT_NE(semget(trx::kExclusionSemaphoreKey, 1, IPC_CREAT | IPC_EXCL | 0000), -1);
  engine->load(false);
  const pid_t stranger = fork();
  if (stranger == 0) {
    constexpr uid_t kNobody = 65534;
    if (geteuid() == 0 && setuid(kNobody) != 0) {
      _exit(2);
    }
    kw::dev::parts::LibSemaphore refused(trx::kExclusionSemaphoreKey);
    const bool not_found = refused.get() != 0 && refused.id == -1;
    const bool start_up_goes_on = trx::TRX::startUp() == 0;
    trx::TRXInfo own;
    _exit(not_found && start_up_goes_on && execHAP(own, "TST_Ok") == "TRX 7000c" ? 0 : 1);
  }
  waitpid(stranger, &status, 0);
  EXPECT_EQ(status, 0) << "not ours to use";
}

TEST_F(LockKillTest, FailedLoadLeavesHAPsWithoutTheLockUntilOneSucceeds) {
  start();
  const std::string lines = "hapmodule.exec.exclusion.control=on\n";
  configure({MODULE_TST, "/no/such/libzq_hap_none.so"}, {}, lines);
  EXPECT_EQ(outcomeOf([this] { engine->load(false); }), "TRX 70005");
  const auto takes_lock = [this] {
    TraceCapture capture(kw::platform::kTraceInfo);
    trx::TRXInfo info;
    EXPECT_EQ(execHAP(info, "TST_Ok"), "ok");
    return capture.trail().find("I 8000000 ") != std::string::npos;
  };
  EXPECT_FALSE(takes_lock());
  configure({MODULE_TST}, {}, lines);
  engine->load(false);
  EXPECT_TRUE(takes_lock());
}

}  // namespace
}  // namespace kw::trx::testing
