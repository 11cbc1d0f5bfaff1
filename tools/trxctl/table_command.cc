// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <iomanip>
#include <iostream>
#include <memory>
#include <mutex>
#include <thread>

#include "kw/trx/table_driver.h"
#include "kw/trx/trx.h"
#include "kw/trx/trx_config.h"
#include "support/trace.h"
#include "tablefile/words.h"
#include "trxctl/commands.h"
#include "trxctl/failure_reason.h"
#include "trxctl/record_collector.h"
#include "trxctl/request.h"
#include "trxctl/trace_catalogue.h"

namespace kw::trx::trxctl {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kProgressStep{100};
constexpr int kNameWidth = 12;

/// Shows on a terminal how long a wait still takes.
void showLeft(Clock::time_point end) {
  const std::chrono::duration<double> left = end - Clock::now();
  std::printf("\r             waits, %.1f s left \x1b[K", std::max(left.count(), 0.0));
  static_cast<void>(std::fflush(stdout));
}

void clearLine() {
  std::printf("\r\x1b[K");
  static_cast<void>(std::fflush(stdout));
}

/// Shows how long a wait of the engine still takes, from a thread of its own.
class EngineWait {
 public:
  explicit EngineWait(Clock::time_point end) : thread_([this, end] { run(end); }) {}
  EngineWait(const EngineWait&) = delete;
  EngineWait& operator=(const EngineWait&) = delete;
  ~EngineWait() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      over_ = true;
    }
    wake_.notify_one();
    thread_.join();
    clearLine();
  }

 private:
  void run(Clock::time_point end) {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!over_) {
      showLeft(end);
      wake_.wait_for(lock, kProgressStep);
    }
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  bool over_ = false;
  std::thread thread_;  // last, as it uses the others
};

/// Waits for the engine, which handed the wait over.
void waitFor(unsigned int time_ms) {
  const bool shown = isatty(STDOUT_FILENO) == 1;
  const auto end = Clock::now() + std::chrono::milliseconds(time_ms);
  const trx::TRX* engine = trx::TRX::getInstance();
  for (auto now = Clock::now(); now < end && !engine->isStopFlag(); now = Clock::now()) {
    if (shown) {
      showLeft(end);
    }
    std::this_thread::sleep_for(std::min<Clock::duration>(kProgressStep, end - now));
  }
  if (shown) {
    clearLine();
  }
}

/// Prints the rows of a table as they run, from the records that the engine writes of them.
class RowPrinter {
 public:
  explicit RowPrinter(const trx::TRXInfo& info) : info_(info), begin_(Clock::now()) {}

  /// Why the row that runs failed; empty while it did not, or when a HAP gave an error of its own.
  const std::string& reason() const { return reason_; }

  void take(const kw::platform::TraceRecord& record) {
    wait_.reset();
    const std::string reason = requestFailureText(record);
    if (!reason.empty()) {
      reason_ = reason;
      note(reason_);
    }
    switch (record.id) {
      case trx::kCmdStart.id:
        return print(record, trx::kCommandStart);
      case trx::kCmdCheck.id:
        return print(record, trx::kCommandCheck);
      case trx::kCmdEnd.id:
        return print(record, trx::kCommandEnd);
      case trx::kCmdEndMessage.id:
        return print(record, trx::kCommandEnd + (" " + info_.getTblRtnMsg()));
      case trx::kCmdWait.id:
        return printWait(record);
      case trx::kCmdHAP.id:
      case trx::kCmdTable.id:
        // The record that comes next names the HAP or the table.
        row_ = record;
        return;
      case trx::kHAPExecNested.id:
        return printNamed(trx::kCommandHAP, record);
      case trx::kCmdTableName.id:
        return printNamed(trx::kCommandTable, record);
      default:
        return takeFailure(record);
    }
  }

 private:
  void takeFailure(const kw::platform::TraceRecord& record) {
    switch (record.id) {
      case trx::kHAPErrRequest.id:
        return info_.isErrDisables() ? note("failed, which is ignored") : void();
      case trx::kCmdHAPNop.id:
        return note("failed, which is ignored");
      case trx::kCmdHAPStack.id:
        return note("failed, which is kept for CHECK");
      case trx::kCmdHAPJump.id:
        return note("failed; the table jumps");
      case trx::kCmdHAPStop.id:
        return note("failed; the table ends with error");
      case trx::kCmdCheckJump.id:
        return note("a row has failed; the table jumps");
      case trx::kCmdCheckStop.id:
        return note("a row has failed; the table ends with error");
      default:
        return;
    }
  }

  void printNamed(const std::string& command, const kw::platform::TraceRecord& record) {
    if (row_.id != 0) {
      print(row_, command + " " + textOf(record));
      row_.id = 0;
    }
  }

  void printWait(const kw::platform::TraceRecord& row) {
    const unsigned int time_ms = wordOf(row, "time", 0);
    print(row, trx::kCommandWait + (" " + std::to_string(time_ms) + " ms"));
    if (isatty(STDOUT_FILENO) == 1 && trx::TRXConfig::getInstance().isWaitInEngine()) {
      wait_ = std::make_unique<EngineWait>(Clock::now() + std::chrono::milliseconds(time_ms));
    }
  }

  void print(const kw::platform::TraceRecord& row, const std::string& what) {
    reason_.clear();
    const std::chrono::duration<double> time = Clock::now() - begin_;
    const trx::TblCtlInfo* table = info_.getCurTblCtlInfo();
    char head[32];
    std::snprintf(head, sizeof(head), "%9.3f s  ", time.count());
    char number[16];
    std::snprintf(number, sizeof(number), " %4x  ", wordOf(row, "number", 0));
    std::cout << paint(Colour::kGrey, head) << std::left << std::setw(kNameWidth)
              << (table == nullptr ? "?" : table->tableName) << number << what << std::endl;
  }

  void note(const std::string& words) {
    std::cout << "             " << paint(Colour::kYellow, words) << std::endl;
  }

  const trx::TRXInfo& info_;
  const Clock::time_point begin_;
  kw::platform::TraceRecord row_{};
  std::string reason_;
  std::unique_ptr<EngineWait> wait_;
};

int runTable(const RequestOptions& options) {
  Units units(options.units);
  if (!startEngine(options)) {
    return kExitFailed;
  }
  trx::TRXInfo info;
  info.setTableName(options.name);
  info.setTableUnitList(units.list());
  RowPrinter printer(info);
  const RecordCollector rows(
      kw::platform::kTraceAll,
      [&printer](const kw::platform::TraceRecord& record) { printer.take(record); });
  const Request request{"table " + options.name,
                        [&info] { trx::TRX::getInstance()->execTable(&info); }, waitFor};
  return runRequest(info, request, printer.reason());
}

}  // namespace

void addTableCommand(CLI::App& app, int& status) {
  auto options = std::make_shared<RequestOptions>();
  CLI::App* command = addCommand(
      app, "table", "Runs one table on the configured modules and tables",
      "Prints each row as it begins: seconds since the start, table, NUMBER of the row, command.\n"
      "Waits are done by this tool when the configuration hands them to the requester.\n"
      "Example: trxctl table selftest --root /opt/board --unit 300:2:rack/rail2\n"
      "Exit status: 0 the table ended well; 1 it ended with error; 2 it could not be run.");
  addRequestOptions(*command, *options, "The table: its file name without folders and .csv");
  command->callback([options, &status] { status = runTable(*options); });
}

}  // namespace kw::trx::trxctl
