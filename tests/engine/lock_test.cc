// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/trx_lock.h"

#include <signal.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <thread>
#include <utility>

#include "kw/trx/testing/engine_fixture.h"

namespace kw::trx::testing {
namespace {

using kw::dev::parts::LibSemaphore;
using trx::TRXLock;

void removeSemaphore() {
  LibSemaphore semaphore(trx::kExclusionSemaphoreKey);
  if (semaphore.get() == 0) {
    semctl(semaphore.id, 0, IPC_RMID);
  }
}

/// Words that two processes share: [0] the HAP runs, [1] it may end, [2] free for the test.
class SharedWords {
 public:
  SharedWords()
      : words(static_cast<unsigned int*>(
            mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}
  SharedWords(const SharedWords&) = delete;
  SharedWords& operator=(const SharedWords&) = delete;
  ~SharedWords() { munmap(words, 4096); }

  void set(int index) { __atomic_store_n(&words[index], 1U, __ATOMIC_RELEASE); }
  bool isSet(int index) const { return __atomic_load_n(&words[index], __ATOMIC_ACQUIRE) != 0; }
  void await(int index) const {
    while (!isSet(index)) {
      usleep(1000);
    }
  }

  unsigned int* words;
};

class LockTest : public EngineFixture {
 protected:
  LockTest() {
    removeSemaphore();
    trx::TRX::startUp();
    semaphore_.get();
  }
  ~LockTest() override { removeSemaphore(); }

  int value() const { return semctl(semaphore_.id, 0, GETVAL); }

  /// An engine with exclusion control on and the test module.
  void startExclusive() { startWith({MODULE_TST}); }
  void startWith(const std::vector<std::string>& modules) {
    configure(modules, {}, "hapmodule.exec.exclusion.control=on\n");
    start();
  }

  LibSemaphore semaphore_{trx::kExclusionSemaphoreKey};
};

TEST_F(LockTest, TakesAndGivesBackOnlyForOutermostCallsUnderExclusion) {
  {
    TraceCapture capture;
    const TRXLock off(&semaphore_, false, true);
    const TRXLock nested(&semaphore_, true, false);
    const TRXLock none(nullptr, true, true);
    EXPECT_EQ(value(), 1);
    EXPECT_EQ(capture.trail(), "");
  }
  TraceCapture capture;
  {
    const TRXLock lock(&semaphore_, true, true);
    EXPECT_TRUE(semaphore_.held);
    EXPECT_EQ(value(), 0);
  }
  EXPECT_FALSE(semaphore_.held);
  EXPECT_EQ(value(), 1);
  EXPECT_EQ(capture.trail(), "I 8000000 (0 0 0 0)\nI 8001000 (0 0 0 0)\n");
}

TEST_F(LockTest, RefusesWhenItCannotBeTaken) {
  LibSemaphore never(1);
  semaphore_.held = true;
  EXPECT_EQ(outcomeOf([&] { TRXLock lock(&never, true, true); }), "TRX 7000c");
  EXPECT_EQ(outcomeOf([&] { TRXLock lock(&semaphore_, true, true); }), "TRX 7000c");
  EXPECT_TRUE(semaphore_.held);
  semaphore_.unchecked = true;
  EXPECT_EQ(outcomeOf([&] { TRXLock lock(&semaphore_, true, true); }), "ok");
  removeSemaphore();
  EXPECT_EQ(outcomeOf([&] { TRXLock lock(&semaphore_, true, true); }), "TRX 7000c");
}

TEST_F(LockTest, FailsWhenItCannotBeGivenBack) {
  EXPECT_EQ(outcomeOf([&] {
              TRXLock lock(&semaphore_, true, true);
              semaphore_.held = false;
            }),
            "TRX 7000d");
  semctl(semaphore_.id, 0, SETVAL, 1);
  const int id = semaphore_.id;
  EXPECT_EQ(outcomeOf([&] {
              TRXLock lock(&semaphore_, true, true);
              semaphore_.id = -1;
            }),
            "TRX 7000d");
  semaphore_.id = id;
  semaphore_.held = false;
  semctl(id, 0, SETVAL, 1);
  semaphore_.unchecked = true;
  EXPECT_EQ(outcomeOf([&] {
              TRXLock lock(&semaphore_, true, true);
              semaphore_.held = false;
            }),
            "ok");
  EXPECT_EQ(value(), 1) << "given back unchecked";
  semaphore_.unchecked = false;
  EXPECT_EQ(outcomeOf([&] {
              TRXLock lock(&semaphore_, true, true);
              removeSemaphore();
            }),
            "TRX 7000d");
  EXPECT_FALSE(semaphore_.held) << "the flag is cleared before the operation";
}

TEST_F(LockTest, LetsTheFirstExceptionGoOn) {
  EXPECT_EQ(outcomeOf([&] {
              TRXLock lock(&semaphore_, true, true);
              removeSemaphore();
              throw trx::TRXException(0x77);
            }),
            "TRX 77");
}

/// Runs a call in its destructor, so that it runs while an exception is in flight.
class AtUnwinding {
 public:
  explicit AtUnwinding(std::function<void()> call) : call_(std::move(call)) {}
  AtUnwinding(const AtUnwinding&) = delete;
  AtUnwinding& operator=(const AtUnwinding&) = delete;
  ~AtUnwinding() { call_(); }

 private:
  std::function<void()> call_;
};

TEST_F(LockTest, TellsItsOwnFailureWhileAnUnrelatedExceptionIsInFlight) {
  std::string inner;
  EXPECT_EQ(outcomeOf([&] {
              const AtUnwinding cleanup([&] {
                inner = outcomeOf([&] {
                  TRXLock lock(&semaphore_, true, true);
                  removeSemaphore();
                });
              });
              throw trx::TRXException(0x77);
            }),
            "TRX 77");
  EXPECT_EQ(inner, "TRX 7000d");
}

TEST_F(LockTest, ThreadThatExitsInsideAHAPLeavesNothingBehind) {
  startExclusive();
  QuietAPI api;
  for (const bool with_api : {true, false}) {
    for (const bool removed : {false, true}) {
      trx::TRXInfo info;
      const auto semaphore_id = static_cast<unsigned int>(semaphore_.id);
      std::thread([&] {
        info.setAPI(with_api ? &api : nullptr);
        engine->getHAPController()->execHAP(&info, units, "TST_Exit", "",
                                            removed ? &semaphore_id : nullptr, nullptr, false);
      }).join();
      EXPECT_TRUE(info.isHAPCtlInfoEmpty());
      EXPECT_EQ(removed ? -1 : 1, value());
      trx::TRX::startUp();
      engine->load(false);
      semaphore_.get();
    }
  }
}

TEST_F(LockTest, SecondThreadIsRefusedAtOnceAndNestedHAPsRunUnderTheLock) {
  startExclusive();
  trx::TRXInfo holder;
  unsigned int words[2] = {0, 0};
  std::thread holding([&] { execHAP(holder, "TST_Hold", "", nullptr, words); });
  while (__atomic_load_n(&words[0], __ATOMIC_ACQUIRE) == 0) {
    usleep(1000);
  }
  trx::TRXInfo second;
  TraceCapture capture(kw::platform::kTraceError | kw::platform::kTraceInfo);
  unsigned int out[2] = {0, 0};
  EXPECT_EQ(execHAP(second, "TST_Ok", "", nullptr, out), "TRX 7000c");
  EXPECT_EQ(capture.trail(), "I 4003000 \"TST_Ok\"\nI 8000000 (0 0 0 0)\nE 1001009 (id 0 0 0)\n");
  EXPECT_TRUE(second.isHAPCtlInfoEmpty());
  __atomic_store_n(&words[1], 1U, __ATOMIC_RELEASE);
  holding.join();

  second.initialize();
  capture.trail();
  EXPECT_EQ(execHAP(second, "TST_Call", "TST_Ok"), "ok");
  EXPECT_EQ(capture.trail(),
            "I 4003000 \"TST_Call\"\nI 4003001 \"TST_Ok\"\nI 8000000 (0 0 0 0)\n"
            "I 1001001 \"TST_Ok\"\nI 100100d \"TST_Ok\"\nI 8001000 (0 0 0 0)\n"
            "I 4003005 \"TST_Call\"\n");
  EXPECT_EQ(value(), 1);
}

TEST_F(LockTest, SecondProcessWaitsAndADeadHolderFreesTheLock) {
  SharedWords shared;
  const pid_t child = fork();
  if (child == 0) {
    startExclusive();
    trx::TRXInfo info;
    execHAP(info, "TST_Hold", "", nullptr, shared.words);
    _exit(0);
  }
  shared.await(0);
  startExclusive();
  trx::TRXInfo info;
  std::thread killing([&] {
    // The waiter has to be in its wait before the holder dies.
    while (semctl(semaphore_.id, 0, GETNCNT) == 0) {
      usleep(1000);
    }
    shared.set(2);
    kill(child, SIGKILL);
  });
  EXPECT_EQ(execHAP(info, "TST_Ok"), "ok");
  EXPECT_TRUE(shared.isSet(2)) << "it ran only after the holder was gone";
  killing.join();
  waitpid(child, nullptr, 0);
  EXPECT_EQ(value(), 1);
}

TEST_F(LockTest, FailureToGiveBackReachesTheCallerOfTheHAP) {
  startExclusive();
  trx::TRXInfo info;
  unsigned int words[2] = {0, 0};
  std::string outcome;
  std::thread running([&] { outcome = execHAP(info, "TST_Hold", "", nullptr, words); });
  while (__atomic_load_n(&words[0], __ATOMIC_ACQUIRE) == 0) {
    usleep(1000);
  }
  TraceCapture capture(kw::platform::kTraceError);
  removeSemaphore();
  __atomic_store_n(&words[1], 1U, __ATOMIC_RELEASE);
  running.join();
  EXPECT_EQ(outcome, "TRX 7000d");
  EXPECT_EQ(capture.trail().rfind("E 100100a (", 0), 0U);
}

TEST_F(LockTest, MissingSemaphoreIsNoLoadErrorButRefusesEveryOutermostHAP) {
  removeSemaphore();
  TraceCapture capture(kw::platform::kTraceError | kw::platform::kTraceInfo);
  startExclusive();
  EXPECT_EQ(capture.trail(), "E 1000009 (0 0 0 0)\n");
  trx::TRXInfo info;
  EXPECT_EQ(execHAP(info, "TST_Ok"), "TRX 7000c");
}

TEST_F(LockTest, StartUpTellsWhetherItCreatedTheSemaphore) {
  TraceCapture capture;
  EXPECT_EQ(trx::TRX::startUp(), 0);
  EXPECT_EQ(capture.trail(), "E 4008000 (id 0 0 0)\n") << "it exists already";
  removeSemaphore();
  EXPECT_EQ(trx::TRX::startUp(), 0);
  EXPECT_EQ(capture.trail(), "I 4008001 (id 0 0 0)\n");
}

TEST_F(LockTest, SemaphoreFaultsFailTheLoadOrNot) {
  configure({MODULE_TST}, {}, "hapmodule.exec.exclusion.control=on\n");
  kw::platform::failCall(kw::platform::Fault::kSemaphoreGet, 1);
  EXPECT_EQ(outcomeOf([this] { engine->load(false); }), "ok");
  EXPECT_EQ(outcomeOf([this] { engine->load(false); }), "ok") << "a load again replaces the object";
  engine->setHAPAPI(new QuietAPI);
  trx::TRXInfo info;
  EXPECT_EQ(execHAP(info, "TST_Ok"), "ok");
}

}  // namespace
}  // namespace kw::trx::testing
