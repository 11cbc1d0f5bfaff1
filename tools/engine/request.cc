// SPDX-License-Identifier: Apache-2.0
#include "engine/request.h"

#include <chrono>
#include <exception>

#include "common/text.h"
#include "engine/failure_reason.h"
#include "kw/trx/errors.h"

namespace kw::trx::tools {
namespace {

/// Runs the request once, or on after a wait. Returns the exception that it ended with; empty when
/// it succeeded. `time_ms` gets the wait that the engine hands over, if it does.
std::string callOnce(const RequestCall& request, bool& waits, unsigned int& time_ms) {
  try {
    request.call();
    return {};
  } catch (const trx::TRXException& exception) {
    const bool is_wait = exception.getCode() == trx::kCodeWaitHandOver;
    waits = is_wait && request.wait;
    time_ms = exception.getDetail();
    if (is_wait && !waits) {
      return hexText(exception.getCode()) +
             ", by which a WAIT row hands its wait over: the HAP threw it, or ran a table that "
             "waits";
    }
    return exceptionText(exception.getCode());
  } catch (const std::exception& exception) {
    return std::string("an exception that is not the engine's: ") + exception.what();
  } catch (...) {
    if (std::current_exception() == nullptr) {  // the thread ends: there is no object behind it
      request.thread_ended();
      throw;
    }
    return "an exception that is not the engine's";
  }
}

}  // namespace

Outcome runRequest(const RequestCall& request) {
  const auto begin = std::chrono::steady_clock::now();
  Outcome outcome;
  for (bool waits = true; waits;) {
    waits = false;
    unsigned int time_ms = 0;
    outcome.failure = callOnce(request, waits, time_ms);
    if (waits) {
      request.wait(time_ms);
    }
  }
  const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - begin;
  outcome.time_ms = time.count();
  return outcome;
}

}  // namespace kw::trx::tools
