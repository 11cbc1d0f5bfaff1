// SPDX-License-Identifier: Apache-2.0
// How long a wait of a table still takes, on a terminal.
#ifndef KW_TRX_TOOLS_COMMANDS_WAIT_DISPLAY_H_
#define KW_TRX_TOOLS_COMMANDS_WAIT_DISPLAY_H_

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace kw::trx::tools {

/// Shows how long a wait of the engine still takes, from a thread of its own.
class EngineWait {
 public:
  explicit EngineWait(std::chrono::milliseconds time);
  EngineWait(const EngineWait&) = delete;
  EngineWait& operator=(const EngineWait&) = delete;
  ~EngineWait();

 private:
  void run();

  const std::chrono::steady_clock::time_point end_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool over_ = false;
  std::thread thread_;  // last, as it uses the others
};

/// Waits for the engine, which handed the wait over; ends early when the engine is stopped.
/// `shown`: tells on a terminal how long it still takes.
void waitFor(unsigned int time_ms, bool shown = true);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMANDS_WAIT_DISPLAY_H_
