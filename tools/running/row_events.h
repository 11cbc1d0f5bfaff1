// SPDX-License-Identifier: Apache-2.0
// The rows of a table as they run, from the records that the engine writes of them.
#ifndef KW_TRX_TOOLS_RUNNING_ROW_EVENTS_H_
#define KW_TRX_TOOLS_RUNNING_ROW_EVENTS_H_

#include <functional>
#include <string>

#include "kw/platform.h"
#include "kw/trx/trx_info.h"

namespace kw::trx::tools {

/// A row that begins, or something to be said about the one that runs.
struct RowEvent {
  bool is_row;
  std::string table;                      ///< of a row
  unsigned int number;                    ///< NUMBER of a row
  std::string words;                      ///< the command of a row, or what is said
  unsigned int wait_ms;                   ///< of a row that waits; else 0
  const trx::TRXInfo* context = nullptr;  ///< of the request
};

/// Follows one request. Records come in their order, from one thread.
class RowEvents {
 public:
  using OnEvent = std::function<void(const RowEvent& event)>;

  /// `info`, the context of the request, must outlive it.
  RowEvents(const trx::TRXInfo& info, OnEvent on_event)
      : info_(info), on_event_(std::move(on_event)) {}

  /// Why the row that runs failed; empty while it did not, or when a HAP gave an error of its own.
  const std::string& reason() const { return reason_; }

  void take(const kw::platform::TraceRecord& record);

 private:
  void takeFailure(const kw::platform::TraceRecord& record);
  void beginNamed(const std::string& command, const kw::platform::TraceRecord& record);
  void begin(const kw::platform::TraceRecord& row, const std::string& words,
             unsigned int wait_ms = 0);
  void note(const std::string& words) { on_event_({false, "", 0, words, 0, &info_}); }

  const trx::TRXInfo& info_;
  const OnEvent on_event_;
  kw::platform::TraceRecord row_{};
  std::string reason_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_RUNNING_ROW_EVENTS_H_
