// SPDX-License-Identifier: Apache-2.0
// Loads while many threads run requests, and the stop flag while tables run.
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "kw/trx/testing/engine_fixture.h"

namespace kw::trx::testing {
namespace {

/// Runs `body` in `count` threads until `during` has returned.
void inThreads(int count, const std::function<void()>& body, const std::function<void()>& during) {
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&] {
      while (!stop) {
        body();
      }
    });
  }
  during();
  stop = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
}

class ReloadTest : public EngineFixture {
 protected:
  void configureTables(const std::string& handler) {
    const std::string inner = dir.write(
        "inner.csv", "FORMAT,0\nVERSION,1\n,1,START\n,2,WAIT,,1\n,3,HAP,TST_Ok\n,4,END\n");
    const std::string outer = dir.write(
        "outer.csv", "FORMAT,0\nVERSION,1\n,1,START\nagain,2,HAP,TST_Ok\n,3,TABLE,inner\n,4,END\n");
    const std::string endless = dir.write(
        "endless.csv", "FORMAT,0\nVERSION,1\n,1,START\nagain,2,HAP,TST_None,,again\n,3,END\n");
    configure({MODULE_TST, MODULE_PLAIN}, {inner, outer, endless},
              "haptable.tblcmd.wait.handler=" + handler + "\n");
    start();
  }

  /// Runs a table to its end, with its waits; false when it fails.
  bool runTable(trx::TRXInfo& info, const std::string& name) {
    info.initialize();
    std::string outcome = outcomeOf([&] { engine->execTable(&info, units, name); });
    while (outcome == "TRX 70003/1") {
      outcome = outcomeOf([&] { engine->execTable(&info); });
    }
    return outcome == "ok";
  }
};

TEST_F(ReloadTest, NoRequestIsLostWhileModulesTablesAndAPIObjectAreReplaced) {
  configureTables("requester");
  std::atomic<int> failures{0};
  std::atomic<int> runs{0};
  inThreads(
      4,
      [&] {
        trx::TRXInfo info;
        failures += runTable(info, "outer") ? 0 : 1;
        info.initialize();
        failures += execHAP(info, "PLAIN_Pass") == "ok" ? 0 : 1;
        ++runs;
      },
      [&] {
        // As many rounds as it takes for requests to have run among them.
        for (int round = 0; round < 4 || runs < 16; ++round) {
          engine->load(false);
          engine->setHAPAPI(new QuietAPI);
          std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
      });
  EXPECT_EQ(failures, 0);
  EXPECT_GT(runs, 0);
}

TEST_F(ReloadTest, ForksWithAndWithoutExecAmongRunningRequests) {
  configureTables("engine");
  std::atomic<int> failures{0};
  std::atomic<int> broken_children{0};
  const auto request = [&] {
    trx::TRXInfo info;
    failures += execHAP(info, "TST_Ok") == "ok" ? 0 : 1;
  };
  inThreads(3, request, [&] {
    for (int round = 0; round < 40; ++round) {
      const unsigned int parent = trx::TRX::getTRXID();
      const pid_t child = fork();
      if (child == 0 && round % 2 == 0) {
        execl("/bin/true", "true", nullptr);
        _exit(127);
      }
      if (child == 0) {
        const trx::TRXInfo own;
        const auto pid = static_cast<unsigned int>(getpid());
        _exit(own.trxId == (pid << 16 | (pid & 0xffffU)) && own.trxId != parent ? 0 : 1);
      }
      int status = -1;
      waitpid(child, &status, 0);
      broken_children += status == 0 ? 0 : 1;
    }
  });
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(broken_children, 0);
}

void countStart(void* context, unsigned long, unsigned int, unsigned short, unsigned long id,
                const void*, int) {
  constexpr unsigned long kTableStarts = 0xb000000;
  *static_cast<std::atomic<int>*>(context) += id == kTableStarts ? 1 : 0;
}

TEST_F(ReloadTest, StopFlagEndsRunningTablesBeforeTheirNextRow) {
  configureTables("engine");
  std::atomic<int> started{0};
  kw::platform::setTraceListener(countStart, &started);
  std::vector<std::string> outcomes(3);
  std::vector<std::thread> threads;
  for (std::string& outcome : outcomes) {
    threads.emplace_back([&] {
      trx::TRXInfo info;
      outcome = outcomeOf([&] { engine->execTable(&info, units, "endless"); });
      EXPECT_TRUE(info.isTblCtlInfoEmpty());
    });
  }
  while (started < static_cast<int>(outcomes.size())) {
    usleep(100);
  }
  engine->setStopFlag(true);
  for (std::thread& thread : threads) {
    thread.join();
  }
  kw::platform::setTraceListener(nullptr, nullptr);
  for (const std::string& outcome : outcomes) {
    EXPECT_EQ(outcome, "TRX 70002");
  }
  engine->setStopFlag(false);
  trx::TRXInfo info;
  EXPECT_TRUE(runTable(info, "outer"));
}

}  // namespace
}  // namespace kw::trx::testing
