// SPDX-License-Identifier: Apache-2.0
// Writes a ring as hosts with many requests do: write_ring FILE REQUESTS. Four threads run a table
// of two HAPs; a few requests fail, some of them with names that a page could take for markup, and
// one does not end.
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "kw/platform.h"
#include "kw/trx/logger.h"
#include "zqm_trx/trace_points.h"

namespace {

namespace trx = kw::trx::trx;
namespace clib_trx = kw::clib_trx;

constexpr int kThreads = 4;
constexpr std::size_t kRecordsOfRequest = 17;
constexpr unsigned long kFailsAt = 97;
constexpr unsigned long kFailsStrangelyAt = 29;
constexpr unsigned long kCode = 0x20003;

const char* const kStrangeNames[] = {
    "<script>document.title='taken'</script>",
    "</script><script>document.title='taken'</script>",
    "<!--<script>",
    "--!></title></style>",
    "a\xe2\x80\xa8line\xe2\x80\xa9"
    "end",
    "&lt;b&gt;\"'`${1+1}\\u003c",
    "<img src=x onerror=alert(1)>",
    "__proto__",
};

void text(const trx::TracePoint& point, const std::string& words) {
  clib_trx::Logger& log = *clib_trx::Logger::getLogger();
  if (point.level == trx::kLevelError) {
    log.error(-1, point.id, words.c_str());
  } else {
    log.info(-1, point.id, words.c_str());
  }
}

void words(const trx::TracePoint& point, unsigned long first, unsigned long second = 0) {
  clib_trx::Logger& log = *clib_trx::Logger::getLogger();
  if (point.level == trx::kLevelError) {
    log.error(-1, point.id, first, second, 0UL, 0UL);
  } else {
    log.info(-1, point.id, first, second, 0UL, 0UL);
  }
}

void failHAP(unsigned long request, const std::string& name) {
  words(trx::kHAPErrRequest, request);
  text(trx::kHAPErrName, name);
  clib_trx::Logger& log = *clib_trx::Logger::getLogger();
  log.error(-1, trx::kHAPErrDetail.id, kCode, 8UL, 8UL, 8UL, 8UL, 0UL, 0UL, 0UL);
  log.error(-1, trx::kHAPErrDetailWords.id, 3300UL, 4711UL, 0UL, 0UL, 0UL, 0UL, 0UL, 0UL);
  words(trx::kCmdHAPStop, request, kCode);
  words(trx::kDriverErrorEnd, request);
}

void startTable(unsigned long request) {
  words(trx::kTrxTableAdmitted, request);
  text(trx::kTrxTableName, "desk");
  text(trx::kDriverStart, "desk");
  words(trx::kCmdStart, request, 1);
  words(trx::kCmdHAP, request, 2);
  text(trx::kHAPExecNested, "PSU_Set");
}

void runRequest(unsigned long request, unsigned long number) {
  const bool fails = number % kFailsAt == 5;
  const std::size_t strange = number % (kFailsAt * kFailsStrangelyAt) / kFailsAt;
  const std::string hap =
      fails && strange < std::size(kStrangeNames) ? kStrangeNames[strange] : "ADC_Read";
  startTable(request);
  text(trx::kHAPExecNestedUnit, "rack/rail" + std::to_string(number % 3));
  text(trx::kHAPExecNestedEnd, "PSU_Set");
  words(trx::kCmdHAP, request, 0x1f);
  text(trx::kHAPExecNested, hap);
  if (fails) {
    failHAP(request, hap);
  } else {
    text(trx::kHAPExecNestedEnd, hap);
    words(trx::kCmdEnd, request, 0x20);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const unsigned long requests = argc == 3 ? std::strtoul(argv[2], nullptr, 10) : 0;
  // Lanes of the ring are lost to a thread that ends amid one.
  constexpr std::size_t spare = 65536;
  if (requests == 0 ||
      kw::platform::openTraceRing(argv[1], requests * kRecordsOfRequest + spare) != 0) {
    std::fprintf(stderr, "usage: write_ring FILE REQUESTS\n");
    return 2;
  }
  std::vector<std::thread> threads;
  for (unsigned long thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([thread, requests] {
      for (unsigned long number = thread; number < requests; number += kThreads) {
        runRequest(0x1000 + thread, number);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  startTable(0x1000 + kThreads);
  kw::platform::closeTraceRing();
  return 0;
}
