// SPDX-License-Identifier: Apache-2.0
#include "commands/run_output.h"

#include <cstdio>
#include <iomanip>
#include <iostream>

#include "command_line/text_output.h"
#include "common/text.h"

namespace kw::trx::tools {
namespace {

constexpr int kNameWidth = 12;

std::string nameOf(const RequestName& request) {
  return (request.kind == RequestKind::kHAP ? "HAP " : "table ") + request.name;
}

void print(const ErrorRecord& record) {
  const Failure& failure = record.failure;
  const std::string detail = detailText(failure);
  std::cout << "  last error record" << (failure.hap.empty() ? "" : ", of HAP " + failure.hap)
            << ":\n    error code: "
            << (failure.has_code ? codeText(failure.code, record.meaning) : "none was given")
            << '\n'
            << (detail.empty() ? "" : "    " + detail + '\n');
  for (const std::string& unit : record.units) {
    std::cout << "    unit concerned: " << unit << '\n';
  }
}

}  // namespace

void printRow(double seconds, const RowEvent& event) {
  if (!event.is_row) {
    std::cout << "             " << paint(Colour::kYellow, event.message) << std::endl;
    return;
  }
  char head[32];
  std::snprintf(head, sizeof(head), "%9.3f s  ", seconds);
  char number[16];
  std::snprintf(number, sizeof(number), " %4x  ", event.number);
  std::cout << paint(Colour::kGrey, head) << std::left << std::setw(kNameWidth) << event.table
            << number << event.message << std::endl;
}

void printRun(const RunReport& report) {
  const Outcome& outcome = report.outcome;
  if (outcome.failure.empty()) {
    char time[32];
    std::snprintf(time, sizeof(time), "%.1f ms", outcome.time_ms);
    std::cout << nameOf(report.request) << paint(Colour::kGreen, " succeeded") << " after " << time
              << '\n';
    return;
  }
  std::cout << nameOf(report.request) << paint(Colour::kRed, " failed") << " with "
            << outcome.failure << '\n';
  printFailure(report.failure, report.reason);
}

void printCrash(const CrashReport& report) {
  const Crash& crash = report.crash;
  std::cout << nameOf(report.request) << paint(Colour::kRed, " crashed") << ": "
            << (report.signal != 0 ? signalText(report.signal)
                                   : "the process was ended with exit status " +
                                         std::to_string(report.exit_status))
            << (crash.hap.empty() ? " outside of any HAP" : " in HAP " + crash.hap)
            << (crash.module.empty() ? "" : " of module " + crash.module) << '\n';
  std::cout << (crash.records.empty() ? "" : "  last trace records:\n");
  for (const std::string& record : crash.records) {
    std::cout << "    " << record << '\n';
  }
}

void printThreadEnd(const RequestName& request) {
  std::cout << nameOf(request) << paint(Colour::kRed, " failed")
            << ": its HAP ended the thread that ran it" << std::endl;
}

void printFailure(const ReportedFailure& failure, const std::string& reason) {
  if (failure.first_failing) {
    std::cout << "  first failing row: table " << failure.first_failing->table << ", NUMBER "
              << hexText(failure.first_failing->number) << '\n';
  }
  if (!reason.empty()) {
    std::cout << "  reason: " << reason << '\n';
  }
  if (failure.record) {
    print(*failure.record);
  }
  if (!failure.message.empty()) {
    std::cout << "  message of the table: " << failure.message << '\n';
  }
}

}  // namespace kw::trx::tools
