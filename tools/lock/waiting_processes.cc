// SPDX-License-Identifier: Apache-2.0
// The files below /proc are those of proc(5); `syscall` has the number and the arguments of the
// system call that a thread is blocked in.
#include "lock/waiting_processes.h"

#include <sys/syscall.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include "lock/process_facts.h"

namespace kw::trx::tools {
namespace {

namespace fs = std::filesystem;

/// The calls whose first argument is the semaphore set that they may wait at.
constexpr long kWaitingCalls[] = {
#ifdef SYS_semop
    SYS_semop,
#endif
#ifdef SYS_semtimedop
    SYS_semtimedop,
#endif
#ifdef SYS_semtimedop_time64
    SYS_semtimedop_time64,
#endif
    -2  // no call: some architectures have none of them
};

bool threadWaits(const fs::path& thread, int id) {
  std::ifstream in(thread / "syscall");
  long call = -1;
  std::string argument;
  return in >> call >> argument && call >= 0 &&
         std::count(std::begin(kWaitingCalls), std::end(kWaitingCalls), call) != 0 &&
         std::strtoull(argument.c_str(), nullptr, 16) == static_cast<unsigned int>(id);
}

bool processWaits(const fs::path& process, int id) {
  std::error_code error;
  for (fs::directory_iterator thread(process / "task", error), end; !error && thread != end;
       thread.increment(error)) {
    if (threadWaits(thread->path(), id)) {
      return true;
    }
  }
  return false;
}

}  // namespace

std::vector<pid_t> processesWaitingFor(int id) {
  std::vector<pid_t> found;
  std::error_code error;
  const fs::path own_namespace = fs::read_symlink("/proc/self/ns/ipc", error);
  for (const pid_t process : allProcesses()) {
    const fs::path folder = "/proc/" + std::to_string(process);
    if (fs::read_symlink(folder / "ns/ipc", error) == own_namespace && !error &&
        processWaits(folder, id)) {
      found.push_back(process);
    }
  }
  return found;
}

}  // namespace kw::trx::tools
