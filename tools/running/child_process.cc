// SPDX-License-Identifier: Apache-2.0
#include "running/child_process.h"

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
  const auto former = std::signal(SIGINT, SIG_IGN);
  int how = 0;
  while (waitpid(child, &how, 0) < 0 && errno == EINTR) {
  }
  std::signal(SIGINT, former);
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
