// SPDX-License-Identifier: Apache-2.0
// Requests with what stands out in them, and how they ended in words. One thread.
#ifndef KW_TRX_TOOLS_TRACE_REQUEST_SUMMARIES_H_
#define KW_TRX_TOOLS_TRACE_REQUEST_SUMMARIES_H_

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "trace/request.h"

namespace kw::trx::tools {

class JsonWriter;

/// A request; what it runs in when its end is not known; and, of such a one, what it does again and
/// again.
struct RequestSummary {
  Request request;
  std::string where;  ///< the row and HAP that run, in words; empty: none is known
  std::string often;  ///< the row that ran most often, and how often; empty: none ran twice
  /// The row that failed most often, when that was several times.
  std::optional<RowId> repeated_row;
  std::uint64_t repeated_times = 0;
  Failure repeated;  ///< the last failure of it
};

/// Makes summaries. Keeps what rows did only while their requests run.
class RequestSummaries : public RequestListener {
 public:
  using OnRequest = std::function<void(const RequestSummary& request)>;

  /// `on_request` is called with each request that ends.
  explicit RequestSummaries(OnRequest on_request) : on_request_(std::move(on_request)) {}

  void spanEnded(const Request& request, const Span& span) override;
  void requestEnded(const Request& request) override;

 private:
  struct RowRuns {
    std::uint64_t runs = 0, failures = 0;
    Failure last;  ///< failure
  };
  struct Running {
    std::map<RowId, RowRuns> rows;
    std::string where;
  };

  static void addRounds(const Running& running, RequestSummary& summary);

  OnRequest on_request_;
  std::map<std::uint64_t, Running> running_;  // by serial
};

/// What a HAP itself says of its error code; empty when it says nothing. Without a function in it,
/// no HAP says anything.
using CodeMeaning = std::function<std::string(const std::string& hap, std::uint32_t code)>;

/// The outcome in words, that of an error code of a HAP by `meaning`.
std::string outcomeText(const RequestSummary& summary, const CodeMeaning& meaning);

/// What failed: the HAP with its code and what that means, or what the trace says.
std::string textOf(const Failure& failure, const CodeMeaning& meaning);

/// That, with the detail of the error: the one sentence by which commands tell of a failure.
std::string textWithDetail(const Failure& failure, const CodeMeaning& meaning);

/// The row that ended the table when it is not the one that failed first; else empty.
std::string endedByText(const Request& request);

/// Why a HAP or a table did not run, or threw, in the words of the trace; empty for an error that a
/// HAP has recorded.
std::string reasonOf(const Failure& failure);

/// A code and what it means, such as "0x20003, the voltage is out of its limits".
std::string codeText(std::uint32_t code, const std::string& meaning);

/// The words of its detail, or of the data of the HAP API and these as text, such as
/// "detail: 0x2 0xc80 (3200)"; empty when it has none.
std::string detailText(const Failure& failure);

/// What the code of a failure means, with `meaning` for those of HAPs; empty when it has none.
std::string codeMeaningOf(const Failure& failure, const CodeMeaning& meaning);

/// Writes the members `process` to `moreUnits` into the open object.
void writeRequest(const Request& request, JsonWriter& json);

/// "row TABLE/NUMBER".
std::string rowText(const RowId& row);

/// What a request asked for, such as "HAP PSU_Enable, mode on on rack/rail2".
std::string nameText(const Request& request);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_REQUEST_SUMMARIES_H_
