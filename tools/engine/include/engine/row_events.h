// SPDX-License-Identifier: Apache-2.0
// A request as it runs, from the records that the engine writes of it.
#ifndef KW_TRX_TOOLS_ENGINE_ROW_EVENTS_H_
#define KW_TRX_TOOLS_ENGINE_ROW_EVENTS_H_

#include <functional>
#include <string>

#include "kw/trx/trx_info.h"
#include "trace/request_builder.h"

namespace kw::trx::tools {

/// A row that starts, or something to be said about the one that ran last.
struct RowEvent {
  bool is_row;
  std::string table;                      ///< of a row
  unsigned int number;                    ///< NUMBER of a row
  std::string message;                    ///< the command of a row, or what is said
  unsigned int wait_ms;                   ///< of a row that waits; else 0
  std::size_t tables;                     ///< around a row
  const trx::TRXInfo* context = nullptr;  ///< of the request
};

/// Follows one request. Records come in their order, from one thread.
class RowEvents : private RequestListener {
 public:
  using OnEvent = std::function<void(const RowEvent& event)>;

  /// `info`, the context of the request, and `also` must outlive it; `also` hears all that the
  /// records tell. `on_event` and `also` may be null.
  RowEvents(const trx::TRXInfo& info, OnEvent on_event, RequestListener* also = nullptr)
      : info_(info), on_event_(std::move(on_event)), also_(also), builder_(*this) {}
  RowEvents(const RowEvents&) = delete;
  RowEvents& operator=(const RowEvents&) = delete;
  ~RowEvents() override = default;

  void take(const kw::platform::TraceRecord& record);

  /// Says what is left to be said; to be called once, behind the last record.
  void finish() { builder_.finish(); }

  /// Why the last row, or the request, failed; empty when it did not, or when a HAP gave an error
  /// of its own. Known once `finish` has been called.
  const std::string& reason() const { return reason_; }

  /// The table that is not loaded; empty: none was missed.
  const std::string& missingTable() const { return missing_table_; }

 private:
  void recordTaken(const Request& request, const kw::platform::TraceRecord& record) override;
  void requestJoined(const Request& request, std::uint64_t fresh) override;
  void rowStarted(const Request& request, const Span& row) override;
  void spanEnded(const Request& request, const Span& span) override;
  void requestEnded(const Request& request) override;
  void note(const std::string& words);

  const trx::TRXInfo& info_;
  const OnEvent on_event_;
  RequestListener* const also_;
  std::string reason_, missing_table_;
  RequestBuilder builder_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ENGINE_ROW_EVENTS_H_
