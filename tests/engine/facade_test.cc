// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/trx.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "kw/trx/testing/engine_fixture.h"
#include "untyped_api.h"

namespace kw::trx::testing {
namespace {

using trx::TRX;
using trx::TRXInfo;

/// The lines of `trail` but those of `getInstance`, which show an address.
std::string withoutInstance(std::string trail) {
  for (std::size_t at = trail.find("D 4000001 (id "); at != std::string::npos;
       at = trail.find("D 4000001 (id ")) {
    trail.erase(at, trail.find('\n', at) + 1 - at);
  }
  return trail;
}

class FacadeTest : public EngineFixture {
 protected:
  /// Runs TST_Hold in a thread of its own while `meanwhile` runs.
  void whileHeld(TRXInfo& info,
                 const std::function<void(const std::function<void()>& end)>& meanwhile) {
    unsigned int words[2] = {0, 0};
    std::string outcome;
    std::thread holding([&] { outcome = execHAP(info, "TST_Hold", "", nullptr, words); });
    while (__atomic_load_n(&words[0], __ATOMIC_ACQUIRE) == 0) {
      usleep(1000);
    }
    const auto end = [&words] { __atomic_store_n(&words[1], 1U, __ATOMIC_RELEASE); };
    meanwhile(end);
    end();
    holding.join();
    EXPECT_EQ(outcome, "ok");
  }
};

TEST_F(FacadeTest, LoadAndSetHAPAPITraceTheirSteps) {
  reset();
  configure({MODULE_TST}, {});
  TraceCapture capture(kw::platform::kTraceError | kw::platform::kTraceInfo |
                       kw::platform::kTraceDebug);
  engine->load(false);
  EXPECT_EQ(capture.trail(), "D 4001000 (id 0 0 0)\nD 4001001 (id 0 0 0)\nD 4001004 (id 0 0 0)\n");
  engine->load(false);
  EXPECT_EQ(capture.trail(),
            "D 4001000 (id 0 0 0)\nD 4001001 (id 0 0 0)\nD 1002001 (id 0 0 0)\n"
            "D 4001004 (id 0 0 0)\n");
  engine->setHAPAPI(nullptr);
  EXPECT_EQ(capture.trail(), "D 4002001 (id 0 0 0)\nE 4002002 (id 0 0 0)\n");
  auto* api = new QuietAPI;
  engine->setHAPAPI(api);
  const std::string installed = capture.trail();
  EXPECT_EQ(installed.rfind("D 4002001 (id ", 0), 0U);
  engine->setHAPAPI(api);
  EXPECT_EQ(capture.trail(), installed) << "the installed object is not destroyed";
  engine->setHAPAPI(nullptr);
  EXPECT_EQ(capture.trail(), "D 4002001 (id 0 0 0)\nE 4002002 (id 0 0 0)\nD 4002003" +
                                 installed.substr(std::string("D 4002001").size()));
}

TEST_F(FacadeTest, APIObjectNeedsNoTypeInformation) {
  configure({MODULE_TST}, {});
  engine->load(false);
  std::string calls;
  engine->setHAPAPI(makeUntypedAPI(calls));
  TRXInfo info;
  EXPECT_EQ(execHAP(info, "TST_Ok"), "ok");
  engine->setHAPAPI(nullptr);
  EXPECT_EQ(calls, "begin end destroyed ");
}

TEST_F(FacadeTest, RefusesHAPRequestsInTheOrderOfItsConditions) {
  reset();
  TRXInfo info;
  const std::string entry = "I 4003000 \"TST_Ok\"\nD 4003003 (id 0 0 0)\n";
  TraceCapture capture(kw::platform::kTraceError | kw::platform::kTraceInfo |
                       kw::platform::kTraceDebug);
  EXPECT_EQ(outcomeOf([&] { engine->execHAP(nullptr, units, "TST_Ok", "", nullptr, nullptr); }),
            "TRX 70009");
  EXPECT_EQ(capture.trail(), "E 4007000 (id 0 0 0)\n");
  EXPECT_EQ(execHAP(info, "TST_Ok"), "TRX 70007");
  EXPECT_EQ(capture.trail(), entry + "E 4006001 (id 0 0 0)\n");
  configure({MODULE_TST}, {});
  engine->load(false);
  capture.trail();
  EXPECT_EQ(execHAP(info, "TST_Ok"), "TRX 70008");
  EXPECT_EQ(capture.trail(), entry + "E 4006002 (id 0 0 0)\n");
  engine->setStopFlag(true);
  EXPECT_EQ(execHAP(info, "TST_Ok"), "TRX 70001");
  EXPECT_EQ(capture.trail(), entry + "I 4006000 (id 0 0 0)\n");
  EXPECT_EQ(info.getAPI(), nullptr) << "the API object is stored after the conditions";
  EXPECT_EQ(outcomeOf([&] { engine->execTable(&info); }), "TRX 70001");
  EXPECT_EQ(capture.trail(), "I 4004000 (id 0 0 0)\n");
  engine->setStopFlag(false);
  engine->setHAPAPI(new QuietAPI);
  EXPECT_EQ(execHAP(info, "TST_Ok"), "ok");
  engine->hapExecWaiting();  // returns only when every context has left the registry
}

TEST_F(FacadeTest, RefusesAContextThatIsRunning) {
  configure({MODULE_TST}, {});
  start();
  TRXInfo info;
  info.setTableName("kept");
  kw::sysobj::Component unit(300, 1, "u");
  std::vector<kw::sysobj::Component*> other = {&unit};
  whileHeld(info, [&](const std::function<void()>&) {
    TraceCapture capture(kw::platform::kTraceError);
    EXPECT_EQ(execHAP(info, "TST_Ok"), "TRX 70009");
    EXPECT_EQ(outcomeOf([&] { engine->execTable(&info); }), "TRX 70009");
    EXPECT_EQ(outcomeOf([&] { engine->execTable(&info, other, "new"); }), "TRX 70009");
    EXPECT_EQ(outcomeOf([&] { engine->execTable(nullptr, other, "new"); }), "TRX 70009");
    EXPECT_EQ(capture.trail(),
              "E 4007001 (id 0 0 0)\nE 4007001 (id 0 0 0)\nE 4005000 (id 0 0 0)\n"
              "E 4005000 (id 0 0 0)\n");
  });
  EXPECT_EQ(info.getTableName(), "kept");
  EXPECT_TRUE(info.getTableUnitList().empty());
}

TEST_F(FacadeTest, TwoThreadsPreparingOneContextAreKeptApart) {
  configure({}, {});
  engine->load(false);
  TRXInfo info;
  std::vector<std::thread> threads;
  for (const char* name : {"a table with a long name", "another table with a long name"}) {
    threads.emplace_back([&info, this, name] {
      for (int round = 0; round < 200; ++round) {
        const std::string outcome = outcomeOf([&] { engine->execTable(&info, units, name); });
        EXPECT_TRUE(outcome == "TRX 7000b" || outcome == "TRX 70009") << outcome;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST_F(FacadeTest, ThreadCancelledDuringALoadLeavesTheEngineUsable) {
  configure({MODULE_TST}, {});
  start();
  // The cancellation is pending when the load reaches its first file.
  std::thread([this] {
    pthread_cancel(pthread_self());
    engine->load(false);
  }).join();
  EXPECT_EQ(outcomeOf([this] { engine->load(false); }), "ok");
}

TEST_F(FacadeTest, LoadAndSetHAPAPIWaitForRunningRequestsAndHoldUpNewOnes) {
  configure({MODULE_TST}, {});
  start();
  TRXInfo first;
  TRXInfo second;
  std::atomic<bool> ended{false};
  std::thread loading;
  std::thread requesting;
  whileHeld(first, [&](const std::function<void()>& end) {
    TraceCapture capture(kw::platform::kTraceDebug);
    loading = std::thread([&] {
      engine->load(false);
      EXPECT_TRUE(ended) << "the load began before the request had ended";
      engine->setHAPAPI(new QuietAPI);
    });
    while (capture.trail().find("D 4001001") == std::string::npos) {
      usleep(1000);
    }
    requesting = std::thread([&] { EXPECT_EQ(execHAP(second, "TST_Ok"), "ok"); });
    ended = true;
    end();
  });
  loading.join();
  requesting.join();
}

TEST_F(FacadeTest, TableRequestIsAdmittedWithoutModuleAndAPIObject) {
  configure({}, {});
  engine->load(false);
  TRXInfo info;
  TraceCapture capture(kw::platform::kTraceError | kw::platform::kTraceInfo);
  EXPECT_EQ(outcomeOf([&] { engine->execTable(&info, units, "none"); }), "TRX 7000b");
  EXPECT_EQ(capture.trail().rfind("I 4004001 (id 0 0 0)\nI 4004002 \"none\"\n", 0), 0U);
  EXPECT_EQ(info.getTableName(), "none");
  engine->hapExecWaiting();
}

TEST_F(FacadeTest, IdTellsProcessAndThreadAlsoAfterFork) {
  const auto expected = [] {
    return static_cast<unsigned int>(getpid()) << 16 |
           (static_cast<unsigned int>(syscall(SYS_gettid)) & 0xffffU);
  };
  EXPECT_EQ(TRX::getTRXID(), expected());
  std::thread([&] { EXPECT_EQ(TRX::getTRXID(), expected()); }).join();
  const pid_t child = fork();
  if (child == 0) {
    _exit(TRX::getTRXID() == expected() ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(TRX::getTRXID(), expected());
}

TEST_F(FacadeTest, RunsRequestsOfManyThreadsWhileModulesAreReloaded) {
  configure({MODULE_TST}, {});
  start();
  std::atomic<bool> stop{false};
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (unsigned int i = 0; i < 3; ++i) {
    threads.emplace_back([&, i] {
      TRXInfo info;
      while (!stop) {
        unsigned int out[2] = {0, 0};
        if (execHAP(info, "TST_Ok", "", &i, out) != "ok" || out[0] != i) {
          ++failures;
        }
      }
    });
  }
  for (int round = 0; round < 3; ++round) {
    engine->load(false);
  }
  stop = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(failures, 0);
}

TEST_F(FacadeTest, EveryUseOfTheEngineIsTraced) {
  TraceCapture capture;
  TRX::getInstance();
  const std::string trail = capture.trail();
  EXPECT_EQ(trail.rfind("D 4000001 (id ", 0), 0U) << trail;
  EXPECT_EQ(withoutInstance(trail), "");
}

}  // namespace
}  // namespace kw::trx::testing
