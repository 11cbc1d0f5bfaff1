// SPDX-License-Identifier: Apache-2.0
// Signals that interrupt waits.
#include <signal.h>
#include <sys/sem.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "kw/trx/testing/engine_fixture.h"
#include "kw/trx/trx_lock.h"

namespace kw::trx::testing {
namespace {

using Clock = std::chrono::steady_clock;

/// Sends the calling thread SIGUSR1 every few milliseconds during its scope.
class Interruptions {
 public:
  explicit Interruptions(int flags) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    action.sa_flags = flags;
    sigaction(SIGUSR1, &action, nullptr);
    sender_ = std::thread([this, target = pthread_self()] {
      while (!stop_) {
        pthread_kill(target, SIGUSR1);
        usleep(20000);
      }
    });
  }
  Interruptions(const Interruptions&) = delete;
  Interruptions& operator=(const Interruptions&) = delete;
  ~Interruptions() {
    stop_ = true;
    sender_.join();
  }

 private:
  std::atomic<bool> stop_{false};
  std::thread sender_;
};

class SignalTest : public EngineFixture {};

TEST_F(SignalTest, WaitsLastAtLeastTheirTime) {
  const std::string table =
      dir.write("wait.csv", "FORMAT,0\nVERSION,1\n,1,START\n,2,WAIT,,1100\n,3,WAIT,,150\n,4,END\n");
  configure({}, {table});
  start();
  for (const int flags : {0, SA_RESTART}) {
    trx::TRXInfo info;
    const Clock::time_point begin = Clock::now();
    const Interruptions interruptions(flags);
    EXPECT_EQ(outcomeOf([&] { engine->execTable(&info, units, "wait"); }), "ok");
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(1250));
  }
}

TEST_F(SignalTest, LoadWaitsForItsRequestAllTheSame) {
  configure({MODULE_TST}, {});
  start();
  for (const int flags : {0, SA_RESTART}) {
    trx::TRXInfo info;
    unsigned int words[2] = {0, 0};
    std::thread holding([&] { EXPECT_EQ(execHAP(info, "TST_Hold", "", nullptr, words), "ok"); });
    while (__atomic_load_n(&words[0], __ATOMIC_ACQUIRE) == 0) {
      usleep(1000);
    }
    std::thread releasing([&words] {
      usleep(300000);
      __atomic_store_n(&words[1], 1U, __ATOMIC_RELEASE);
    });
    {
      const Interruptions interruptions(flags);
      engine->load(false);
      EXPECT_EQ(__atomic_load_n(&words[1], __ATOMIC_ACQUIRE), 1U);
    }
    releasing.join();
    holding.join();
  }
}

TEST_F(SignalTest, LockRefusesWhenItsWaitIsInterrupted) {
  kw::dev::parts::LibSemaphore semaphore(trx::kExclusionSemaphoreKey);
  trx::TRX::startUp();
  ASSERT_EQ(semaphore.get(), 0);
  configure({MODULE_TST}, {}, "hapmodule.exec.exclusion.control=on\n");
  start();
  for (const int flags : {0, SA_RESTART}) {
    semctl(semaphore.id, 0, SETVAL, 0);  // somebody holds it
    trx::TRXInfo info;
    {
      const Interruptions interruptions(flags);
      EXPECT_EQ(execHAP(info, "TST_Ok"), "TRX 7000c");
    }
    semctl(semaphore.id, 0, SETVAL, 1);
    EXPECT_EQ(execHAP(info, "TST_Ok"), "ok");
  }
  semctl(semaphore.id, 0, IPC_RMID);
}

}  // namespace
}  // namespace kw::trx::testing
