// SPDX-License-Identifier: Apache-2.0
#include "trxctl/request_run.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "common/paths.h"
#include "kw/platform.h"
#include "kw/trx/trx.h"
#include "running/engine_start.h"
#include "running/failure.h"
#include "running/units.h"
#include "trxctl/run_output.h"
#include "trxctl/text_output.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kRingRecords = 65536;

trx::TRX* interrupted_engine = nullptr;

void stopEngine(int number) {
  constexpr char notice[] =
      "\ntrxctl: interrupted; stops before the next row, and at once when interrupted again\n";
  interrupted_engine->setStopFlag(true);
  static_cast<void>(std::signal(number, SIG_DFL));
  static_cast<void>(!write(STDERR_FILENO, notice, sizeof(notice) - 1));
}

/// Ends the tool: the HAP ends the thread that the tool lives in.
[[noreturn]] void endWithThread(const std::string& what) {
  std::cout << what << paint(Colour::kRed, " failed") << ": its HAP ended the thread that ran it"
            << std::endl;
  std::_Exit(kExitFindings);
}

}  // namespace

void addRequestOptions(Command& command, RequestOptions& options, const std::string& what) {
  command.text(options.name, {"NAME", what, "", {}, true, [](const std::string& name) {
                                return std::string(name.empty() ? "a name is not empty" : "");
                              }});
  command.texts(options.units,
                {"--unit",
                 "A unit to work on, such as 300:2:rack/rail2; repeat it for further units",
                 "TYPE:NO[:PATH]",
                 {},
                 false,
                 unitProblem});
  command.flag(options.debug_modules, {"--debug-modules", "Load debug modules as well"});
  command.text(options.ring,
               {"--ring", "Write the trace of the run to this new ring file", "FILE"});
}

bool beginRun(const RequestOptions& options) {
  if (!options.ring.empty() &&
      kw::platform::openTraceRing(absolutePath(options.ring), kRingRecords) != 0) {
    fail(options.ring + ": " + std::strerror(errno) + "; choose another place for the ring");
    return false;
  }
  const std::string problem = startEngine(options.debug_modules);
  if (!problem.empty()) {
    fail(problem);
    return false;
  }
  interrupted_engine = trx::TRX::getInstance();
  static_cast<void>(std::signal(SIGINT, stopEngine));
  return true;
}

int runAndTell(trx::TRXInfo& info, const std::string& what, Request request,
               const std::string& reason, const NameHints& hints) {
  request.thread_ended = [&what] { endWithThread(what); };
  const Outcome outcome = runRequest(request);
  if (outcome.failure.empty()) {
    char time[32];
    std::snprintf(time, sizeof(time), "%.1f ms", outcome.time_ms);
    std::cout << what << paint(Colour::kGreen, " succeeded") << " after " << time << '\n';
    return kExitOk;
  }
  std::cout << what << paint(Colour::kRed, " failed") << " with " << outcome.failure << '\n';
  printFailure(failureOf(info), reason.empty() ? reason : reason + hints.hint(info));
  return kExitFindings;
}

}  // namespace kw::trx::tools
