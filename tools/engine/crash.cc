// SPDX-License-Identifier: Apache-2.0
#include "engine/crash.h"

#include <csignal>
#include <cstring>
#include <deque>
#include <optional>

#include "configuration/configuration.h"
#include "kw/trx/file_path.h"
#include "trace/record_words.h"
#include "trace/request_reader.h"
#include "zqm_trx/module_key.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kLastRecords = 10;

/// The signals by which programs crash.
constexpr struct {
  int number;
  const char* name;
} kSignals[] = {{SIGSEGV, "SIGSEGV"}, {SIGABRT, "SIGABRT"}, {SIGBUS, "SIGBUS"},
                {SIGFPE, "SIGFPE"},   {SIGILL, "SIGILL"},   {SIGTRAP, "SIGTRAP"},
                {SIGKILL, "SIGKILL"}, {SIGTERM, "SIGTERM"}, {SIGSYS, "SIGSYS"}};

/// Finds the innermost HAP that has not ended.
class RunningHAP : public RequestListener {
 public:
  void spanEnded(const Request&, const Span& span) override {
    if (span.isHAP() && !span.has_ended && name.empty()) {
      name = span.name;
    }
  }

  std::string name;
};

/// The configured module that has the key of `hap`: the last one counts.
std::string moduleOf(const std::string& hap) {
  std::string found;
  for (const std::string& file : configured().modules) {
    trx::FilePath name(file);
    name.erasePath();
    found = trx::moduleKey(name.value) == trx::keyOfHAP(hap) ? file : found;
  }
  return found;
}

}  // namespace

Crash crashIn(const std::string& path) {
  Crash crash;
  RunningHAP hap;
  RequestReader ring(hap);
  if (ring.open(path) != 0) {
    return crash;
  }
  std::deque<std::string> last;
  ring.watch(
      [&last](const PlacedRecord& placed) {
        last.push_back(describe(placed.record));
        if (last.size() > kLastRecords) {
          last.pop_front();
        }
      },
      false);
  ring.read();
  ring.finish();
  crash.records.assign(last.begin(), last.end());
  crash.hap = hap.name;
  crash.module = crash.hap.empty() ? "" : moduleOf(crash.hap);
  return crash;
}

std::string signalText(int signal) {
  std::string name = "signal " + std::to_string(signal);
  for (const auto& known : kSignals) {
    name = known.number == signal ? known.name : name;
  }
  return name + " (" + strsignal(signal) + ")";
}

}  // namespace kw::trx::tools
