// SPDX-License-Identifier: Apache-2.0
// Memory that runs out: the n-th allocation fails, for every n until none does.
#include <atomic>
#include <cstdlib>
#include <new>

#include "kw/trx/testing/engine_fixture.h"

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

class MemoryTest : public EngineFixture {
 protected:
  MemoryTest() {
    const std::string called = dir.write(
        "called.csv",
        "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,TST_FailDetail,mode,STACK,20001 4 7\n,3,END,OVER\n");
    const std::string main_table =
        dir.write("main.csv",
                  "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,TST_Ok,,bad,1 2\n,3,CHECK,,,bad\n"
                  ",4,TABLE,called\n,5,END\nbad,6,WAIT,,0\n,7,END,a-message-that-is-too-long-for-a-"
                  "small-text\n");
    configure({MODULE_TST, MODULE_PLAIN}, {called, main_table});
    start();
  }

  /// The outcome of `step`, whose own preparations may run out of memory as well.
  static std::string outcomeWith(const std::function<std::string()>& step) {
    try {
      return step();
    } catch (const std::bad_alloc&) {
      return "other";
    }
  }

  /// Runs `step` with the first, the second, ... allocation failing until it is as with all of
  /// them, and each time `undo`, after which nothing may be left over.
  void failEach(const std::function<std::string()>& step, const std::string& expected,
                const std::function<void()>& undo) {
    step();
    undo();
    const long before = living;
    int failed = 0;
    for (long n = 0;; ++n) {
      countdown = n;
      const std::string outcome = outcomeWith(step);
      const bool used_up = countdown < 0;
      countdown = -1;
      undo();
      ASSERT_EQ(living, before) << "leaked when allocation " << n << " failed: " << outcome;
      if (!used_up) {
        EXPECT_EQ(outcome, expected);
        break;
      }
      ++failed;
      engine->hapExecWaiting();  // returns at once: no context was left running
    }
    EXPECT_GT(failed, 0);
  }
};

TEST_F(MemoryTest, EveryFailingAllocationOfALoadLeavesTheEngineUsable) {
  failEach([this] { return outcomeOf([this] { engine->load(false); }); }, "ok",
           [this] { engine->load(false); });
  trx::TRXInfo info;
  EXPECT_EQ(execHAP(info, "TST_Ok"), "ok");
}

TEST_F(MemoryTest, EveryFailingAllocationOfARequestLeavesTheEngineUsable) {
  kw::sysobj::Component unit(300, 1, "a unit with a name that needs memory of its own");
  units = {&unit};
  const unsigned int para[] = {0x20001, 8, 1, 2};
  const auto request = [&](trx::TRXInfo& info) {
    return execHAP(info, "TST_FailDetail", "a mode that needs memory of its own", para);
  };
  failEach(
      [&] {
        trx::TRXInfo info;
        const std::string outcome = request(info);
        EXPECT_TRUE(info.isHAPCtlInfoEmpty());
        return outcome;
      },
      "TRX 7000a", [] {});
}

TEST_F(MemoryTest, EveryFailingAllocationOfATableLeavesTheEngineUsable) {
  failEach(
      [&] {
        trx::TRXInfo info;
        return outcomeOf([&] { engine->execTable(&info, units, "main"); });
      },
      "TRX 7000b", [] {});
}

TEST_F(MemoryTest, ManyReloadsLeaveNothingBehind) {
  engine->load(false);
  const long before = living;
  for (int round = 0; round < 1000; ++round) {
    engine->load(false);
  }
  EXPECT_EQ(living, before);
}

}  // namespace
}  // namespace kw::trx::testing
