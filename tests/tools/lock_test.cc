// SPDX-License-Identifier: Apache-2.0
// The exclusion semaphore as found and fixed, on real semaphores with keys of their own.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "kw/dev/parts/lib_semaphore.h"
#include "lock/lock_repair.h"
#include "lock/lock_state.h"
#include "lock/other_namespaces.h"
#include "lock/waiting_processes.h"

namespace kw::trx::tools {
namespace {

constexpr uid_t kNobody = 65534;

bool operate(int id, short operation, short flags) {
  sembuf one[] = {{0, operation, flags}};
  return semop(id, one, 1) == 0;
}

class LockRoomTest : public ::testing::Test {
 protected:
  LockRoomTest() : key_(0x5a000000 + getpid()) {}
  ~LockRoomTest() override {
    for (const pid_t child : children_) {
      end(child);
    }
    semctl(semget(key_, 0, 0), 0, IPC_RMID);
  }

  static auto count(const std::vector<pid_t>& all, pid_t wanted) {
    return std::count(all.begin(), all.end(), wanted);
  }

  std::string condition() const { return nameOf(lookAtLock(key_).condition); }
  int id() const { return semget(key_, 0, 0); }
  int value() const { return semctl(id(), 0, GETVAL); }

  /// A process that does this and then sleeps; returns once it is done, or when `when` holds.
  pid_t start(const std::function<void()>& work, const std::function<bool()>& when = {}) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t child = fork();
    if (child == 0) {
      work();
      static_cast<void>(!write(ends[1], "", 1));
      pause();
      _exit(0);
    }
    char done = 0;
    if (!when) {
      EXPECT_EQ(read(ends[0], &done, 1), 1);
    }
    for (int look = 0; when && !when() && look < 500; ++look) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    close(ends[0]);
    close(ends[1]);
    children_.push_back(child);
    return child;
  }

  /// Kills a process; it stays one that nobody has waited for unless `reaped`.
  static void end(pid_t child, bool reaped = true) {
    kill(child, SIGKILL);
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | (reaped ? 0 : WNOWAIT));
  }

  const int key_;
  std::vector<pid_t> children_;
};

TEST_F(LockRoomTest, AHolderAndItsWaitersAreSeenUntilTheHolderIsGone) {
  EXPECT_EQ(condition(), "missing");
  EXPECT_EQ(createLock(key_).message, "created it, free for one holder");
  EXPECT_EQ(condition(), "free");
  EXPECT_TRUE(createLock(key_).done);
  const pid_t holder = start([this] { operate(id(), -1, SEM_UNDO); });
  start([this] { operate(id(), -1, SEM_UNDO); }, [this] { return lookAtLock(key_).waiting == 1; });
  LockState state = lookAtLock(key_);
  EXPECT_EQ(std::string(nameOf(state.condition)), "held");
  EXPECT_EQ(state.process, holder);
  EXPECT_EQ(state.waiting, 1);
  long call = -1;
  std::ifstream("/proc/self/syscall") >> call;
  if (call == SYS_read) {  // an emulator has the numbers of another architecture there
    EXPECT_EQ(processesWaitingFor(state.id), std::vector<pid_t>({children_.back()}));
  }
  EXPECT_EQ(state.mode, 0660U);
  EXPECT_EQ(state.uid, geteuid());
  EXPECT_NE(state.facts.command.find("tools_test"), std::string::npos) << state.facts.command;
  EXPECT_NEAR(static_cast<double>(state.facts.started.value_or(0)),
              static_cast<double>(time(nullptr)), 60);
  EXPECT_NEAR(static_cast<double>(state.used), static_cast<double>(time(nullptr)), 60);
  const std::string refusal = "process " + std::to_string(holder) + " holds it; --force ";
  EXPECT_EQ(removeLock(key_, false).message, refusal + "removes it all the same");
  EXPECT_EQ(repairLock(key_, false).message, refusal + "repairs it all the same");
  EXPECT_EQ(value(), 0);
  end(holder);
  for (int look = 0; look < 500 && (state = lookAtLock(key_)).process == holder; ++look) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(std::string(nameOf(state.condition)), "held") << "by the one that waited";
  EXPECT_EQ(state.process, children_.back());
  EXPECT_TRUE(repairLock(key_, true).done);
  EXPECT_EQ(condition(), "free");
  EXPECT_TRUE(operate(id(), -1, IPC_NOWAIT));
  EXPECT_TRUE(removeLock(key_, true).done);
  EXPECT_EQ(condition(), "missing");
  EXPECT_FALSE(repairLock(key_, true).done);
}

TEST_F(LockRoomTest, WhatIsWrongIsFixed) {
  ASSERT_GE(semget(key_, 2, IPC_CREAT | IPC_EXCL | 0660), 0);
  EXPECT_EQ(condition(), "neverFinished");
  EXPECT_EQ(repairLock(key_, false).message, "finished it: it is free for one holder");
  EXPECT_EQ(condition(), "free");
  EXPECT_EQ(repairLock(key_, false).message, "nothing is wrong with it");

  // Its second semaphore says that a set was never finished, but not that of another program.
  semctl(id(), 0, IPC_RMID);
  ASSERT_GE(semget(key_, 2, IPC_CREAT | IPC_EXCL | 0660), 0);
  end(start([this] { operate(id(), -1, SEM_UNDO); },
            [this] { return lookAtLock(key_).waiting == 1; }));
  EXPECT_EQ(condition(), "neverFinishedOrHeld") << "once who waited for it is gone";
  EXPECT_EQ(
      repairLock(key_, false).message,
      "it was never finished, or a process of another PID namespace holds it; --force repairs "
      "it all the same");
  EXPECT_EQ(value(), 0);
  EXPECT_TRUE(repairLock(key_, true).done);
  EXPECT_EQ(condition(), "free");

  for (const bool reaped : {false, true}) {
    const pid_t leaver = start([this] { operate(id(), -1, 0); });
    EXPECT_EQ(condition(), "held");
    end(leaver, reaped);
    EXPECT_EQ(condition(), "abandoned") << reaped;
    EXPECT_EQ(
        repairLock(key_, false).message,
        "gave it back for process " + std::to_string(leaver) + ", which has ended; its value is 1");
    EXPECT_EQ(condition(), "free");
    EXPECT_EQ(value(), 1);
  }

  ASSERT_TRUE(operate(id(), 2, 0));
  EXPECT_EQ(condition(), "aboveOne");
  EXPECT_FALSE(repairLock(key_, false).done);
  EXPECT_FALSE(removeLock(key_, false).done);
  EXPECT_EQ(value(), 3);
  EXPECT_TRUE(repairLock(key_, true).done);
  EXPECT_EQ(value(), 1);
  EXPECT_TRUE(removeLock(key_, false).done);
}

TEST_F(LockRoomTest, AnotherUserIsToldThatItMayNot) {
  ASSERT_TRUE(createLock(key_).done);
  for (const unsigned int mode : {0U, 0444U}) {
    semid_ds about{};
    ASSERT_EQ(semctl(id(), 0, IPC_STAT, &about), 0);
    about.sem_perm.mode = static_cast<decltype(about.sem_perm.mode)>(mode);
    ASSERT_EQ(semctl(id(), 0, IPC_SET, &about), 0);
    const pid_t other = fork();
    if (other == 0) {
      if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
        _exit(9);
      }
      const LockState state = lookAtLock(key_);
      const bool told = state.condition == LockCondition::kNotPermitted && state.mode == mode &&
                        state.readable == (mode != 0) && !repairLock(key_, true).done &&
                        !removeLock(key_, false).done;
      _exit(told ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(other, &status, 0), other);
    EXPECT_EQ(status, 0) << mode;
  }
}

TEST_F(LockRoomTest, AHostOfAnotherNamespaceIsSeen) {
  const pid_t beside = start([] {});
  EXPECT_EQ(count(otherNamespaces().hosts, beside), 0);
  const pid_t host = start([] { static_cast<void>(unshare(CLONE_NEWIPC)); });
  std::error_code error;
  if (std::filesystem::read_symlink("/proc/" + std::to_string(host) + "/ns/ipc", error) ==
      std::filesystem::read_symlink("/proc/self/ns/ipc", error)) {
    GTEST_SKIP() << "this user cannot make an IPC namespace";
  }
  const OtherNamespaces others = otherNamespaces();
  EXPECT_EQ(count(others.hosts, host), 1);
  EXPECT_EQ(count(others.hosts, beside), 0);
  const std::string first = std::to_string(others.hosts.at(0));
  EXPECT_EQ(wordsOf(others).find("process"), 0U) << wordsOf(others);
  EXPECT_NE(wordsOf(others).find(' ' + first + " ("), std::string::npos) << wordsOf(others);
  EXPECT_EQ(adviceOf(others).find("nsenter --ipc --target " + first + ' '), 0U);
  EXPECT_EQ(wordsOf({{}, 0, true}), "");
  EXPECT_NE(wordsOf({{}, 7, true}).find("is not known: this user may not look into 7 processes"),
            std::string::npos);
  EXPECT_NE(wordsOf({{}, 0, false}).find("is not known: processes outside"), std::string::npos);
}

TEST_F(LockRoomTest, TheLimitThatIsReachedIsNamed) {
  if (unshare(CLONE_NEWIPC) != 0) {
    GTEST_SKIP() << "this user cannot make an IPC namespace";
  }
  const struct {
    const char *limits, *words, *raised;
  } cases[] = {
      {"250 32000 32 1", "1 semaphore sets exist, and the fourth number of ", "250 32000 32 2"},
      {"250 4 32 9", "3 semaphores exist, 2 more are needed, and the second ", "250 8 32 9"},
      {"1 5 32 2", "a set needs 2 semaphores, and the first ", "2 5 32 2"},
      {"2 5 32 2", "", ""},
  };
  const auto limit = [](const char* limits) {
    std::ofstream("/proc/sys/kernel/sem") << limits << std::flush;
  };
  const int other = semget(IPC_PRIVATE, 3, 0600);
  ASSERT_GE(other, 0);
  for (const auto& [limits, words, raised] : cases) {
    limit(limits);
    const SemaphoreShortage shortage = lookAtLock(key_).shortage;
    EXPECT_EQ(shortage.message.find(words), 0U) << limits << ": " << shortage.message;
    EXPECT_EQ(shortage.message.empty(), *words == '\0') << shortage.message;
    EXPECT_NE(shortage.advice.find(raised), std::string::npos) << shortage.advice;
    const LockAction action = createLock(key_);
    EXPECT_EQ(action.done, *words == '\0') << action.message;
    EXPECT_NE(action.message.find(words), std::string::npos) << action.message;
  }
  semctl(other, 0, IPC_RMID);
  limit("250 32000 32 128");
}

}  // namespace
}  // namespace kw::trx::tools
