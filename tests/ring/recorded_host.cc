// SPDX-License-Identifier: Apache-2.0
// A program that writes records from threads, from a signal handler and from a child of a fork, and
// ends with status 7: recorded_host PLATFORM_RING [RECORDER_RING]. Built with the platform library,
// with the recorder, or with both.
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <thread>

#include "kw/trace.h"
#ifdef WITH_PLATFORM
#include "kw/platform.h"
#endif
#ifdef WITH_RECORDER
#include "kw/trace_recorder.h"
#endif

namespace {

constexpr unsigned int kLevels[] = {0x8002, 0x8001, 0x801, 0x1};
constexpr unsigned long kRecords = 40;
bool all_taken = true;

void writeRecords(unsigned long first) {
  for (unsigned long id = first; id < first + kRecords; ++id) {
    all_taken &= kw_trace_write(101, kLevels[id % 4], 7, id, &id, sizeof(id)) == 0;
  }
}

}  // namespace

int main(int argc, char** argv) {
#ifdef WITH_PLATFORM
  if (kw::platform::openTraceRing(argv[1], 1024) != 0) return 1;
#endif
#ifdef WITH_RECORDER
  if (argc == 3 && zqm_trx_recorder_open(argv[2], 1024, ZQM_TRX_RECORD_ALL, 0) != 0) return 2;
  if (argc == 3 && zqm_trx_recorder_open(argv[2], 1024, ZQM_TRX_RECORD_ALL, 0) != -1) return 3;
#endif
  static_cast<void>(argc + argv[0][0]);
  static_cast<void>(std::signal(SIGUSR1, [](int) { writeRecords(1000); }));
  writeRecords(2000);
  static_cast<void>(raise(SIGUSR1));
  std::thread(writeRecords, 3000).join();
  const pid_t child = fork();
  writeRecords(child == 0 ? 4000 : 5000);
  if (child == 0) _exit(all_taken ? 0 : 4);
  int status = 0;
  waitpid(child, &status, 0);
#ifdef WITH_RECORDER
  if (argc == 3) {
    zqm_trx_recorder_close();
    kw_trace_write(101, 1, 7, 6000, nullptr, 0);
  }
#endif
  return all_taken && status == 0 ? 7 : 4;
}
