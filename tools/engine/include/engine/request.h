// SPDX-License-Identifier: Apache-2.0
// One request of the engine, and what came of it.
#ifndef KW_TRX_TOOLS_ENGINE_REQUEST_H_
#define KW_TRX_TOOLS_ENGINE_REQUEST_H_

#include <functional>
#include <string>

namespace kw::trx::tools {

struct RequestCall {
  std::function<void()> call;  ///< runs it, and runs it on after a wait
  /// Called for each wait that the engine hands over. Null: the engine hands none over, and an
  /// exception with that code is a failure.
  std::function<void(unsigned int time_ms)> wait;
  /// Called when a HAP ends the thread; must not return.
  std::function<void()> thread_ended;
};

struct Outcome {
  std::string failure;  ///< the exception that it ended with; empty: it succeeded
  double time_ms = 0;   ///< how long it took
};

/// Runs `request` until it has ended.
Outcome runRequest(const RequestCall& request);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ENGINE_REQUEST_H_
