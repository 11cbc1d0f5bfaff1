// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "kw/trx/table_commands.h"
#include "kw/trx/trx_config.h"
#include "support/trace.h"
#include "table/current_table.h"

namespace kw::trx::trx {
namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::microseconds;

constexpr Microseconds::rep kMicrosecondsPerSecond = 1000000;

/// Sleeps for whole seconds, then for the rest. Returns false when a signal cut it short. The
/// result of sleep() does not tell that alone: it has no fractions, so it can be 0 all the same.
bool sleepOnce(Microseconds time) {
  const auto seconds = static_cast<unsigned int>(time.count() / kMicrosecondsPerSecond);
  const auto rest = static_cast<useconds_t>(time.count() % kMicrosecondsPerSecond);
  errno = 0;
  if (seconds != 0 && (::sleep(seconds) != 0 || errno == EINTR)) {
    return false;
  }
  return rest == 0 || ::usleep(rest) == 0;
}

void sleepFor(std::chrono::milliseconds time) {
  const Clock::time_point end = Clock::now() + time;
  Microseconds rest = time;
  while (rest > Microseconds::zero() && !sleepOnce(rest)) {
    rest = std::chrono::ceil<Microseconds>(end - Clock::now());
  }
}

}  // namespace

TblCmdWait::TblCmdWait(const unsigned int& number, const int& next_index)
    : HAPTableCommand(number, next_index),
      wait_in_engine_(TRXConfig::getInstance().isWaitInEngine()) {}

TblCmdWait::~TblCmdWait() = default;

int TblCmdWait::exec(TRXInfo* info) {
  trace(kCmdWait, info->trxId, getNumber(), time_);
  // The index comes first: a requester that waits itself goes on behind this row.
  goOnAt(info, getNextIndex());
  if (time_ != 0) {
    if (!wait_in_engine_) {
      throw TRXException(kCodeWaitHandOver, time_);
    }
    sleepFor(std::chrono::milliseconds(time_));
  }
  return info->getCurTblCtlInfo()->index;
}

void TblCmdWait::setTime(const unsigned int& time_ms) { time_ = time_ms; }

}  // namespace kw::trx::trx
