// SPDX-License-Identifier: Apache-2.0
#include "engine/failure_reason.h"

#include "common/text.h"
#include "trace/codes.h"
#include "trace/event.h"
#include "trace/record_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {

std::string exceptionText(unsigned int code) {
  const CodeText* text = findCode(code);
  return hexText(code) + (text == nullptr ? "" : std::string(": ") + text->meaning);
}

std::string loadFailureText(const std::vector<kw::platform::TraceRecord>& records) {
  std::string loader;
  std::string reason;
  for (const kw::platform::TraceRecord& record : records) {
    switch (eventOf(record).kind) {
      case EventKind::kLibraryReason:
        loader += textOf(record);
        break;
      case EventKind::kLibraryFailed:
        loader.clear();
        break;
      case EventKind::kLoadFailed:
        break;
      case EventKind::kModuleFailed:
        reason += "\n  " + describe(record) + ": " + loader;
        break;
      default:
        reason += record.level == trx::kLevelError ? "\n  " + describe(record) : std::string();
    }
  }
  return reason;
}

}  // namespace kw::trx::tools
