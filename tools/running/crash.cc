// SPDX-License-Identifier: Apache-2.0
#include "running/crash.h"

#include <csignal>
#include <cstring>
#include <deque>
#include <optional>

#include "configuration/configuration.h"
#include "kw/platform.h"
#include "kw/ring_reader.h"
#include "kw/trx/file_path.h"
#include "traces/record_words.h"
#include "traces/slices.h"
#include "zqm_trx/module_key.h"
#include "zqm_trx/trace_points.h"

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

/// The HAP that runs behind the last record, whose place is `place`.
std::string hapAt(const SliceTracker::Place& place, const kw::platform::TraceRecord& last) {
  bool has_ended = last.id == trx::kHAPExecNestedEnd.id;
  const std::vector<Slice> none;
  const std::vector<Slice>& slices = place.slices == nullptr ? none : *place.slices;
  for (auto slice = slices.rbegin(); slice != slices.rend(); ++slice) {
    if (slice->kind == Slice::Kind::kHAP && !has_ended) {
      return slice->name;
    }
    has_ended = has_ended && slice->kind != Slice::Kind::kHAP;
  }
  return {};
}

/// The configured module that has the key of `hap`: the last one counts.
std::string moduleOf(const std::string& hap) {
  std::optional<std::vector<std::string>> modules;
  configuredTables(modules);
  std::string found;
  for (const std::string& file : modules.value_or(std::vector<std::string>())) {
    trx::FilePath name(file);
    name.erasePath();
    found = trx::moduleKey(name.value) == trx::keyOfHAP(hap) ? file : found;
  }
  return found;
}

}  // namespace

Crash crashIn(const std::string& path) {
  Crash crash;
  kw::platform::RingReader ring;
  if (ring.open(kw::platform::resolvePath(path)) != 0) {
    return crash;
  }
  SliceTracker tracker([](const Slice&) {});
  std::deque<kw::platform::TraceRecord> last;
  SliceTracker::Place place;
  for (kw::platform::TraceRecord record; ring.next(record);) {
    place = tracker.take(record);
    last.push_back(record);
    if (last.size() > kLastRecords) {
      last.pop_front();
    }
  }
  for (const kw::platform::TraceRecord& record : last) {
    crash.records.push_back(describe(record));
  }
  if (!last.empty()) {
    crash.hap = hapAt(place, last.back());
    crash.module = crash.hap.empty() ? "" : moduleOf(crash.hap);
  }
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
