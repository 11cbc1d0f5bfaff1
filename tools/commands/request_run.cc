// SPDX-License-Identifier: Apache-2.0
#include "commands/request_run.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "command_line/text_output.h"
#include "commands/run_json.h"
#include "commands/run_output.h"
#include "common/paths.h"
#include "common/temp_folder.h"
#include "engine/child_process.h"
#include "engine/engine_start.h"
#include "engine/failure.h"
#include "engine/name_hints.h"
#include "engine/units.h"
#include "kw/platform.h"
#include "kw/trx/trx.h"
#include "kw/trx/trx_config.h"
#include "table/code_meanings.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kRingRecords = 65536;
constexpr std::size_t kCrashRingRecords = 4096;

trx::TRX* interrupted_engine = nullptr;

void stopEngine(int number) {
  constexpr char notice[] =
      "\ntrxctl: interrupted; stops before the next row, and at once when interrupted again\n";
  interrupted_engine->setStopFlag(true);
  static_cast<void>(std::signal(number, SIG_DFL));
  static_cast<void>(!::write(STDERR_FILENO, notice, sizeof(notice) - 1));
}

/// Ends the process: the HAP ends the thread that it lives in.
[[noreturn]] void endWithThread(const RequestOptions& options) {
  if (options.json) {
    JsonWriter json(2);
    startOutput(options.command(), json);
    writeThreadEnd(options.request(), json);
    std::cout << json.endObject().taken() << std::endl;
  } else {
    printThreadEnd(options.request());
  }
  noteEndOfWork(kExitFindings);
  std::_Exit(kExitFindings);
}

int tellCrash(const RequestOptions& options, const ChildEnd& end) {
  const CrashReport report{
      options.request(), end.signal, end.exit_status,
      crashIn(options.ring.empty() ? options.crash_ring : absolutePath(options.ring))};
  if (options.json) {
    JsonWriter json(2);
    startOutput(options.command(), json);
    writeCrash(report, json);
    std::cout << json.endObject().taken() << '\n';
  } else {
    printCrash(report);
  }
  return kExitCrashed;
}

std::string nameProblem(const std::string& name) {
  return name.empty() ? "a name is not empty" : "";
}

}  // namespace

void addRequestOptions(CommandOptions& command, RequestOptions& options, const std::string& what) {
  command.text(options.name, {"NAME", what, "", {}, true, nameProblem});
  command.texts(options.units, {"--unit",
                                "A unit to work on, such as 300:2:rack/rail2",
                                "TYPE:NO[:PATH]",
                                {},
                                false,
                                unitProblem});
  command.flag(options.debug_modules, {"--debug-modules", "Load debug modules as well"});
  command.text(options.ring,
               {"--record", "Write the trace of the run to this new ring file", "FILE"});
  command.json(options.json);
  command.flag(options.in_process,
               {"--in-process", "Run in the process of the tool itself, as debuggers like it"});
}

int runApart(RequestOptions& options, const std::function<int()>& body) {
  if (options.in_process) {
    return body();
  }
  std::unique_ptr<TempFolder> folder;
  try {
    folder = std::make_unique<TempFolder>();
    options.crash_ring = folder->path() + "/trace.ring";
  } catch (const std::runtime_error&) {
    // Without it a crash is told without records.
  }
  std::cout.flush();
  const ChildEnd end = runInChild([&body] {
    try {
      return flushed(body());
    } catch (const std::exception& exception) {
      return fail(exception.what());
    }
  });
  if (end.signal == SIGINT) {
    static_cast<void>(std::signal(SIGINT, SIG_DFL));
    static_cast<void>(raise(SIGINT));
  }
  return end.signal == 0 && end.status ? *end.status : tellCrash(options, end);
}

bool beginRun(const RequestOptions& options) {
  std::error_code error;
  if (std::filesystem::exists(std::filesystem::symlink_status(options.ring, error))) {
    fail(options.ring + " exists already; remove it, or name another file with --record");
    return false;
  }
  if (!options.ring.empty() &&
      kw::platform::openTraceRing(absolutePath(options.ring), kRingRecords) != 0) {
    fail(options.ring + ": " + std::strerror(errno) + "; choose another place for the ring");
    return false;
  }
  if (options.ring.empty() && !options.crash_ring.empty()) {
    // Without it a crash is told without records.
    static_cast<void>(kw::platform::openTraceRing(options.crash_ring, kCrashRingRecords));
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

RunReport runRequest(trx::TRXInfo& info, const RequestOptions& options, RequestCall call,
                     RowEvents& rows) {
  call.thread_ended = [&options] { endWithThread(options); };
  RunReport report{options.request(), runRequest(call), {}, ""};
  rows.finish();
  if (!report.outcome.failure.empty()) {
    // The configuration is loaded, and loading it again would write records into the ring.
    report.failure = failureOf(
        info, meaningsIn(hapsOf(trx::TRXConfig::getInstance().getHAPModuleFiles()).descriptions));
    report.reason =
        rows.reason().empty() ? "" : rows.reason() + nameHint(info, rows.missingTable());
  }
  return report;
}

int statusOf(const RunReport& report) {
  return report.outcome.failure.empty() ? kExitOk : kExitFindings;
}

}  // namespace kw::trx::tools
