// SPDX-License-Identifier: Apache-2.0
// Memory that runs out: the n-th allocation fails, for every n until none does.
#include <sys/sem.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <set>

#include "kw/dev/parts/lib_semaphore.h"
#include "kw/trx/testing/engine_fixture.h"
#include "kw/trx/trx_lock.h"

namespace {

std::atomic<long> living{0};
/// Allocations until one fails; negative for never.
thread_local long countdown = -1;

void* allocate(std::size_t size) {
  if (countdown >= 0 && countdown-- == 0) {
    throw std::bad_alloc();
  }
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  ++living;
  return block;
}

void release(void* block) {
  if (block != nullptr) {
    --living;
    std::free(block);
  }
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t) noexcept { release(block); }
void operator delete[](void* block, std::size_t) noexcept { release(block); }

namespace kw::trx::testing {
namespace {

class MemoryLockTest : public EngineFixture {
 protected:
  MemoryLockTest() {
    const std::string called = dir.write(
        "called.csv",
        "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,TST_FailDetail,mode,STACK,20001 4 7\n,3,END,OVER\n");
    const std::string main_table =
        dir.write("main.csv",
                  "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,TST_Ok,,bad,1 2\n,3,CHECK,,,bad\n"
                  ",4,TABLE,called\n,5,END\nbad,6,WAIT,,0\n,7,END,a-message-that-is-too-long-for-a-"
                  "small-text\n");
    configure({MODULE_TST, MODULE_PLAIN}, {called, main_table},
              "hapmodule.exec.exclusion.control=on\n");
    trx::TRX::startUp();
    semaphore_.get();
    start();
  }
  ~MemoryLockTest() override { semctl(semaphore_.id, 0, IPC_RMID); }

  /// The outcome of `step`, whose own preparations may run out of memory as well.
  static std::string outcomeWith(const std::function<std::string()>& step) {
    try {
      return step();
    } catch (const std::bad_alloc&) {
      return "other";
    }
  }

  /// Runs `step` with the first, the second, ... allocation failing until it is as with all of
  /// them, and each time `undo`, after which nothing may be left over and the lock is free. Returns
  /// what the failing steps ended with.
  std::set<std::string> failEach(const std::function<std::string()>& step,
                                 const std::string& expected, const std::function<void()>& undo) {
    step();
    undo();
    long before = living;
    std::set<std::string> outcomes;
    for (long n = 0;; ++n) {
      countdown = n;
      const std::string outcome = outcomeWith(step);
      const bool used_up = countdown < 0;
      countdown = -1;
      undo();
      if (!used_up) {
        EXPECT_EQ(outcome, expected);
        return outcomes;
      }
      EXPECT_EQ(living, before) << "leaked when allocation " << n << " failed: " << outcome;
      EXPECT_EQ(semctl(semaphore_.id, 0, GETVAL), 1);
      engine->hapExecWaiting();  // returns at once: no context was left running
      const long without_outcome = living;
      outcomes.insert(outcome);
      before += living - without_outcome;
    }
  }

  kw::dev::parts::LibSemaphore semaphore_{trx::kExclusionSemaphoreKey};
};

TEST_F(MemoryLockTest, EveryFailingAllocationOfALoadLeavesTheEngineUsable) {
  const std::set<std::string> outcomes =
      failEach([this] { return outcomeOf([this] { engine->load(false); }); }, "ok",
               [this] { engine->load(false); });
  EXPECT_EQ(outcomes, (std::set<std::string>{"TRX 70004", "TRX 70005", "TRX 70006", "other"}));
  trx::TRXInfo info;
  EXPECT_EQ(execHAP(info, "TST_Ok"), "ok");
}

TEST_F(MemoryLockTest, EveryFailingAllocationOfARequestLeavesTheEngineUsable) {
  kw::sysobj::Component unit(300, 1, "a unit with a name that needs memory of its own");
  units = {&unit};
  const unsigned int para[] = {0x20001, 8, 1, 2};
  const auto request = [&](trx::TRXInfo& info) {
    return execHAP(info, "TST_FailDetail", "a mode that needs memory of its own", para);
  };
  const std::set<std::string> outcomes = failEach(
      [&] {
        trx::TRXInfo info;
        const std::string outcome = request(info);
        EXPECT_TRUE(info.isHAPCtlInfoEmpty());
        return outcome;
      },
      "TRX 7000a", [] {});
  EXPECT_EQ(outcomes, std::set<std::string>{"other"});
}

TEST_F(MemoryLockTest, EveryFailingAllocationOfATableLeavesTheEngineUsable) {
  const std::set<std::string> outcomes = failEach(
      [&] {
        trx::TRXInfo info;
        return outcomeOf([&] { engine->execTable(&info, units, "main"); });
      },
      "TRX 7000b", [] {});
  EXPECT_EQ(outcomes, std::set<std::string>{"other"});
}

TEST_F(MemoryLockTest, ManyReloadsLeaveNothingBehind) {
  engine->load(false);
  const long before = living;
  for (int round = 0; round < 1000; ++round) {
    engine->load(false);
  }
  EXPECT_EQ(living, before);
}

}  // namespace
}  // namespace kw::trx::testing
