// SPDX-License-Identifier: Apache-2.0
#include "traces/request.h"

#include "zqm_trx/table_words.h"

namespace kw::trx::tools {

const char* wordOf(Command command) {
  switch (command) {
    case Command::kStart:
      return trx::kCommandStart;
    case Command::kHAP:
      return trx::kCommandHAP;
    case Command::kCheck:
      return trx::kCommandCheck;
    case Command::kWait:
      return trx::kCommandWait;
    case Command::kTable:
      return trx::kCommandTable;
    case Command::kEnd:
      return trx::kCommandEnd;
    default:
      return "";
  }
}

const char* nameOf(Request::Kind kind) {
  switch (kind) {
    case Request::Kind::kHAP:
      return "hap";
    case Request::Kind::kTable:
      return "table";
    default:
      return "unknown";
  }
}

const char* nameOf(Ending ending) {
  switch (ending) {
    case Ending::kSucceeded:
      return "ok";
    case Ending::kFailed:
      return "failed";
    case Ending::kRefused:
      return "refused";
    case Ending::kWaits:
      return "waits";
    default:
      return "open";
  }
}

void RequestListener::recordTaken(const Request&, const kw::platform::TraceRecord&) {}

void RequestListener::requestJoined(const Request&, std::uint64_t) {}

void RequestListener::rowStarted(const Request&, const Span&) {}

void RequestListener::spanEnded(const Request&, const Span&) {}

void RequestListener::requestEnded(const Request&) {}

}  // namespace kw::trx::tools
