// SPDX-License-Identifier: Apache-2.0
#include "kw/trace.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "kw/platform.h"
#include "kw/trx/testing/temp_dir.h"

using kw::trx::testing::TempDir;

namespace {

void keepId(void* context, unsigned long, unsigned int, unsigned short, unsigned long id,
            const void*, int) {
  static_cast<std::vector<unsigned long>*>(context)->push_back(id);
}

TEST(TraceTest, LevelMaskChoosesWhatTheListenerGets) {
  using Ids = std::vector<unsigned long>;
  const std::pair<unsigned int, Ids> rows[] = {
      {kw::platform::kTraceAll, {1, 2, 3, 4, 5}},
      {kw::platform::kTraceError, {1, 5}},
      {kw::platform::kTraceInfo | kw::platform::kTraceDebug2, {2, 4}},
      {kw::platform::kTraceDebug, {3}},
      {0, {}}};
  Ids ids;
  kw::platform::setTraceListener(keepId, &ids);
  for (const auto& [mask, expected] : rows) {
    ids.clear();
    kw::platform::setTraceLevels(mask);
    unsigned long id = 0;
    for (const unsigned int level : {0x8002U, 0x8001U, 0x801U, 0x1U, 0x77U}) {
      EXPECT_EQ(kw_trace_write(101, level, 7, ++id, "", 1), 0);
    }
    EXPECT_EQ(ids, expected) << mask;
  }
  kw::platform::setTraceLevels(kw::platform::kTraceAll);
  kw::platform::setTraceListener(nullptr, nullptr);
}

void count(void* context, unsigned long, unsigned int, unsigned short, unsigned long, const void*,
           int) {
  static_cast<std::atomic<int>*>(context)->fetch_add(1);
}

// What a listener or a ring uses is gone as soon as the call that ends it returns.
TEST(TraceTest, ListenerAndRingMayChangeWhileThreadsWrite) {
  const TempDir dir;
  std::atomic<bool> stop{false};
  std::vector<std::thread> writers;
  for (int i = 0; i < 3; ++i) {
    writers.emplace_back([&stop] {
      while (!stop) kw_trace_write(101, 0x8002, 7, 1, "x", 2);
    });
  }
  for (int i = 0; i < 200; ++i) {
    const auto calls = std::make_unique<std::atomic<int>>(0);
    kw::platform::setTraceListener(count, calls.get());
    EXPECT_EQ(kw::platform::openTraceRing(dir.path() + (i % 2 == 0 ? "/a" : "/b"), 16), 0);
    while (*calls < 5) std::this_thread::yield();
    if (i % 3 == 0) kw::platform::closeTraceRing();
    kw::platform::setTraceListener(nullptr, nullptr);
  }
  kw::platform::closeTraceRing();
  stop = true;
  for (std::thread& writer : writers) writer.join();
}

struct Gate {
  std::atomic<bool> entered{false};
  std::atomic<bool> open{false};
  std::atomic<int> passed{0};
};

/// Keeps record 1 until the gate opens; counts any other.
void waitAtGate(void* context, unsigned long, unsigned int, unsigned short, unsigned long id,
                const void*, int) {
  Gate& gate = *static_cast<Gate*>(context);
  if (id != 1) {
    ++gate.passed;
    return;
  }
  gate.entered = true;
  while (!gate.open) std::this_thread::yield();
}

TEST(TraceTest, ChildOfAForkDoesNotWaitForThreadsOfItsParent) {
  Gate gate;
  kw::platform::setTraceListener(waitAtGate, &gate);
  std::thread writer([] { kw_trace_write(101, 0x8002, 7, 1, "", 1); });
  while (!gate.entered) std::this_thread::yield();
  std::thread remover([] { kw::platform::setTraceListener(nullptr, nullptr); });
  // The remover waits for the writer, with the facility in its hands, once nobody gets records.
  int passed = 0;
  do {
    passed = gate.passed;
    kw_trace_write(101, 0x8002, 7, 2, "", 1);
  } while (gate.passed != passed);
  const pid_t child = fork();
  if (child == 0) {
    alarm(30);
    std::atomic<int> calls{0};
    kw::platform::setTraceListener(count, &calls);
    kw_trace_write(101, 0x8002, 7, 1, "", 1);
    kw::platform::setTraceListener(nullptr, nullptr);
    _exit(calls);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
  gate.open = true;
  writer.join();
  remover.join();
}

}  // namespace
