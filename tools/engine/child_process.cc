// SPDX-License-Identifier: Apache-2.0
#include "engine/child_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

namespace kw::trx::tools {
namespace {

constexpr int kNoFile = -1;

/// In a child, where its parent reads how the work ended.
int parent_reads = kNoFile;

/// In its parent.
volatile pid_t child_process = 0;

/// Hands an interrupt on to the child. One from the terminal it gets by itself.
void handOn(int number, siginfo_t* info, void*) {
  if (info->si_code <= 0) {
    kill(child_process, number);
  }
}

[[noreturn]] void beChild(int pipe, const std::function<int()>& work) {
  parent_reads = pipe;
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  const int status = work();
  noteEndOfWork(status);
  std::exit(status);
}

}  // namespace

void noteEndOfWork(int status) {
  if (parent_reads != kNoFile) {
    static_cast<void>(!write(parent_reads, &status, sizeof(status)));
  }
}

ChildEnd runInChild(const std::function<int()>& work) {
  int pipes[2];
  if (pipe2(pipes, O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "a child process");
  }
  const pid_t child = fork();
  child_process = child;
  if (child == 0) {
    close(pipes[0]);
    beChild(pipes[1], work);
  }
  const int error = errno;
  close(pipes[1]);
  if (child < 0) {
    close(pipes[0]);
    throw std::system_error(error, std::generic_category(), "a child process");
  }
  struct sigaction on_interrupt {};
  struct sigaction former {};
  on_interrupt.sa_sigaction = handOn;
  on_interrupt.sa_flags = SA_SIGINFO;
  sigaction(SIGINT, &on_interrupt, &former);
  int how = 0;
  while (waitpid(child, &how, 0) < 0 && errno == EINTR) {
  }
  sigaction(SIGINT, &former, nullptr);
  // What the child has left behind may hold the other end.
  static_cast<void>(fcntl(pipes[0], F_SETFL, O_NONBLOCK));
  ChildEnd end;
  int status = 0;
  if (read(pipes[0], &status, sizeof(status)) == sizeof(status)) {
    end.status = status;
  }
  close(pipes[0]);
  end.signal = WIFSIGNALED(how) ? WTERMSIG(how) : 0;
  end.exit_status = WIFEXITED(how) ? WEXITSTATUS(how) : 0;
  return end;
}

}  // namespace kw::trx::tools
