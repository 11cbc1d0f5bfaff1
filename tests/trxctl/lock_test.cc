// SPDX-License-Identifier: Apache-2.0
// trxctl lock in an IPC namespace of its own: its key is that of the whole system.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/sem.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "kw/trx/trx_lock.h"
#include "tool.h"

namespace kw::trx::testing {
namespace {

using nlohmann::json;

TEST(LockToolTest, TellsMakesAndRemovesTheSemaphore) {
  if (unshare(CLONE_NEWIPC) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWIPC) != 0) {
    GTEST_SKIP() << "this user cannot make an IPC namespace";
  }
  const std::string name = "exclusion semaphore 0x56f9a0: ";
  EXPECT_EQ(json::parse(outputOf("lock --json"))["condition"], "missing");
  ASSERT_GE(semget(trx::kExclusionSemaphoreKey, 1, IPC_CREAT | 0660), 0);
  const std::string unfinished = runTool("lock");
  EXPECT_NE(unfinished.find("  value:   0\n  made:    20"), std::string::npos) << unfinished;
  EXPECT_NE(unfinished.find(", never used\n  waiting: 0\n  do:      trxctl lock --repair; "),
            std::string::npos)
      << unfinished;
  EXPECT_EQ(runTool("lock --remove --force").find(name + "removed it"), 0U);
  EXPECT_EQ(runTool("lock --create"), name + "created it, free for one holder\n= 0\n");
  const std::string shown = runTool("lock");
  EXPECT_EQ(shown.substr(0, shown.find('\n')), name + "free: the next HAP gets it at once");
  EXPECT_NE(shown.find("mode 0660\n  value:   1\n  used:    last 20"), std::string::npos) << shown;
  EXPECT_NE(shown.find("which has ended\n  waiting: 0\n"), std::string::npos) << shown;

  sembuf take[] = {{0, -1, SEM_UNDO}};
  ASSERT_EQ(semop(semget(trx::kExclusionSemaphoreKey, 0, 0), take, 1), 0);
  const json held = json::parse(outputOf("lock --json"));
  EXPECT_EQ(held["condition"], "held");
  EXPECT_EQ(held["process"]["id"], getpid());
  EXPECT_EQ(held["value"], 0);
  const std::string holder = "process " + std::to_string(getpid()) + " holds it";
  EXPECT_EQ(runTool("lock --remove"),
            "! trxctl: " + name + holder + "; --force removes it all the same\n= 2\n");
  const std::string watched = outputOf("lock --follow | head -n 1");
  EXPECT_NE(watched.find(" held, value 0, waiting 0, by process "), std::string::npos) << watched;
  const std::string removed = runTool("lock --remove --force");
  EXPECT_EQ(removed.find(name + "removed it, though " + holder), 0U) << removed;
  EXPECT_EQ(runTool("lock --repair"),
            "! trxctl: " + name + "it does not exist; --create makes it\n= 2\n");
  EXPECT_EQ(runTool("lock --force").substr(0, 51),
            "! trxctl: --force belongs to --remove or --repair\n!");
}

}  // namespace
}  // namespace kw::trx::testing
