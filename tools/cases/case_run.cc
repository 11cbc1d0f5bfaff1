// SPDX-License-Identifier: Apache-2.0
#include "cases/case_run.h"

#include <algorithm>

#include "cases/case_words.h"
#include "common/text.h"
#include "kw/trx/errors.h"

namespace kw::trx::tools {
namespace {

using Lines = std::vector<std::string>;

void compareRows(const TableCase& expected, const SimulatedRun& run, Lines& differences) {
  Lines rows;
  const bool never_ends = expected.end && expected.end->kind == ExpectedEnd::Kind::kNever;
  for (const RowId& row : run.rows) {
    if (never_ends && rows.size() == expected.rows->size()) {
      break;
    }
    rows.push_back(row.text(expected.table));
  }
  const Lines& wanted = *expected.rows;
  const std::size_t both = std::min(rows.size(), wanted.size());
  const auto at = static_cast<std::size_t>(
      std::mismatch(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(both), wanted.begin())
          .first -
      rows.begin());
  if (at == rows.size() && at == wanted.size()) {
    return;
  }
  const auto row = [at](const Lines& lines) {
    return at < lines.size() ? "row " + lines[at] : std::string("the end");
  };
  differences.push_back(std::string(kCaseRows) + ": step " + std::to_string(at + 1) + " is " +
                        row(rows) + ", expected " + row(wanted) +
                        (at == 0 ? "" : ", behind row " + rows[at - 1]));
}

std::string endText(const ExpectedEnd& end) {
  switch (end.kind) {
    case ExpectedEnd::Kind::kOk:
      return kEndOk;
    case ExpectedEnd::Kind::kError:
      return kEndError + (end.message ? " " + *end.message : "");
    case ExpectedEnd::Kind::kNever:
      return kEndNever;
    case ExpectedEnd::Kind::kException:
      break;
  }
  return kEndException + (end.code ? " " + hexDigits(*end.code) : "");
}

bool isEndOf(const ExpectedEnd& end, const SimulatedRun& run) {
  switch (end.kind) {
    case ExpectedEnd::Kind::kOk:
      return run.failure.empty();
    case ExpectedEnd::Kind::kError:
      return run.code == trx::kCodeTableFailed &&
             (!end.message || *end.message == run.record.message);
    case ExpectedEnd::Kind::kNever:
      return run.is_stopped;
    case ExpectedEnd::Kind::kException:
      break;
  }
  return !run.failure.empty() && !run.is_stopped && run.code != trx::kCodeTableFailed &&
         (!end.code || *end.code == run.code);
}

void compareCalls(const ExpectedCall& expected, const SimulatedRun& run, Lines& differences) {
  std::size_t times = 0;
  Lines others;
  for (const HAPCall& call : run.calls) {
    if (!expected.where.matches(call)) {
      continue;
    }
    const bool same = (expected.para.empty() || expected.para == call.para) &&
                      (expected.mode.empty() || expected.mode == call.mode);
    times += same ? 1 : 0;
    if (!same) {
      others.push_back("with PARA '" + call.para + "', MODE '" + call.mode + "'");
    }
  }
  if (expected.times ? times == *expected.times : times != 0) {
    return;
  }
  std::string message = std::string(expected.times == 0U ? kCaseNotCalled : kCaseCalled) + ": " +
                        expected.text + " is called " + std::to_string(times) + " times";
  message += expected.times ? ", expected " + std::to_string(*expected.times) : "";
  differences.push_back(message + (others.empty() ? "" : "; but " + others[0]));
}

}  // namespace

std::string endText(const SimulatedRun& run) {
  if (run.failure.empty()) {
    return kEndOk;
  }
  if (run.is_stopped) {
    return "none: stopped after " + std::to_string(run.rows.size()) + " rows";
  }
  if (run.code == trx::kCodeTableFailed) {
    return kEndError + (run.record.message.empty() ? "" : " " + run.record.message);
  }
  return kEndException + (" " + run.failure);
}

SimulatedRun runCase(const TableCase& expected, const Simulator& simulator,
                     RequestListener* listener) {
  OutcomePlan plan(expected.outcomes);
  SimulationRequest request;
  request.table = expected.table;
  request.units = expected.units;
  request.max_rows = expected.max_rows;
  request.listener = listener;
  request.choose = [&plan](const HAPCall& call) { return plan.choose(call); };
  return simulator.run(request);
}

std::vector<std::string> differencesOf(const TableCase& expected, const Simulator& simulator,
                                       RequestListener* listener) {
  return differencesOf(expected, runCase(expected, simulator, listener));
}

std::vector<std::string> differencesOf(const TableCase& expected, const SimulatedRun& run) {
  Lines differences;
  if (expected.rows) {
    compareRows(expected, run, differences);
  }
  if (expected.end ? !isEndOf(*expected.end, run) : run.is_stopped) {
    differences.push_back(std::string(kCaseEnd) + " is " + endText(run) +
                          (expected.end ? ", expected " + endText(*expected.end) : ""));
  }
  const std::optional<RowId>& row = run.record.first_failing;
  const std::string failing = row ? row->text(expected.table) : kFirstNone;
  if (expected.first_failing && *expected.first_failing != failing) {
    differences.push_back(std::string(kCaseFirst) + " failing row is " + failing + ", expected " +
                          *expected.first_failing);
  }
  for (const ExpectedCall& call : expected.calls) {
    compareCalls(call, run, differences);
  }
  if (expected.wait_ms && *expected.wait_ms != run.wait_ms) {
    differences.push_back(std::string(kCaseWait) + " is " + std::to_string(run.wait_ms) +
                          " ms, expected " + std::to_string(*expected.wait_ms));
  }
  return differences;
}

}  // namespace kw::trx::tools
