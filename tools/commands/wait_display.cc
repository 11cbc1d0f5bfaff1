// SPDX-License-Identifier: Apache-2.0
#include "commands/wait_display.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "kw/trx/trx.h"

namespace kw::trx::tools {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kProgressStep{100};

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

}  // namespace

EngineWait::EngineWait(std::chrono::milliseconds time)
    : end_(Clock::now() + time), thread_([this] { run(); }) {}

EngineWait::~EngineWait() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    over_ = true;
  }
  wake_.notify_one();
  thread_.join();
  clearLine();
}

void EngineWait::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!over_) {
    showLeft(end_);
    wake_.wait_for(lock, kProgressStep);
  }
}

void waitFor(unsigned int time_ms, bool shown) {
  shown = shown && isatty(STDOUT_FILENO) == 1;
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

}  // namespace kw::trx::tools
