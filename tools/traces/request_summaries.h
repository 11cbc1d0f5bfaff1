// SPDX-License-Identifier: Apache-2.0
// Requests as their trace records tell them: what they ran, how long, how they ended. One thread.
#ifndef KW_TRX_TOOLS_TRACES_REQUEST_SUMMARIES_H_
#define KW_TRX_TOOLS_TRACES_REQUEST_SUMMARIES_H_

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kw/platform.h"
#include "traces/slices.h"

namespace kw::trx::tools {

enum class RequestEnd {
  kOk,
  kFailed,
  kRefused,  ///< before it began
  kWaits,    ///< a table handed its wait to the requester
  kOpen,     ///< the records do not tell its end
};

/// What went wrong. What the records do not tell is empty.
struct RequestFailure {
  std::string table, row;  ///< the row as its NUMBER is written in hexadecimal
  std::string hap;
  std::uint32_t code = 0;  ///< of the error record, or of the exception; 0: none is told
  bool thrown = false;     ///< the HAP threw
  std::string event;       ///< what happened, in the words of the trace
};

struct RequestSummary {
  std::uint32_t process_id = 0, thread_id = 0;
  std::uint32_t request = 0, number = 0;   ///< as `SliceTracker::Place`
  std::uint64_t begin_ns = 0, end_ns = 0;  ///< of its first and last record
  bool is_table = false;
  std::string name, mode;
  std::vector<std::string> units;  ///< of the HAP, or of the HAPs of the table; the first ones
  bool more_units = false;         ///< there are others
  RequestEnd end = RequestEnd::kOpen;
  std::optional<RequestFailure> failure;
  bool damaged = false;     ///< records of its time are missing or damaged
  bool begin_lost = false;  ///< of a table; its name is not known then, nor those of its tables
  std::string last;         ///< what its last record says, when its end is not told
  /// The row that failed most often, when its end is not told and that was several times.
  std::optional<RequestFailure> repeated;
  std::uint64_t repeated_times = 0;
  std::string often;     ///< the row that ran most often, when its end is not told; else empty
  std::string ended_by;  ///< the row that ended the table when it is not the one that failed
};

/// Makes summaries of the records of all threads. Keeps requests only while they run. A HAP request
/// whose begin is lost is left out.
class RequestSummaries {
 public:
  using OnRequest = std::function<void(const RequestSummary& request)>;

  /// `on_request` is called with each request once its end is known. That a HAP request failed is
  /// known when its thread goes on to something else, or with `finish`.
  explicit RequestSummaries(OnRequest on_request);

  /// Takes the next record. Those of the level info must be among them.
  void take(const kw::platform::TraceRecord& record);

  /// Hands on the requests whose end the records do not tell.
  void finish();

  /// How many requests have begun, by id.
  const std::map<std::uint32_t, std::uint32_t>& requests() const { return tracker_.requests(); }

 private:
  using Thread = std::pair<std::uint32_t, std::uint32_t>;  // its process and its own id

  struct RowRuns {
    std::uint64_t runs = 0, failures = 0;
    std::string table, row, hap;
    std::uint32_t code = 0;  ///< of the last failure
  };
  struct Running {
    bool open = false;
    RequestSummary summary;
    std::string table, row;                 ///< that runs
    std::optional<RequestFailure> pending;  ///< of a HAP; what comes of it is not known yet
    std::optional<RequestFailure> kept;     ///< the first one that STACK or a jump left behind
    kw::platform::TraceRecord last;         ///< record
    bool in_wait = false;                   ///< nothing came behind a WAIT row
    std::map<std::string, RowRuns> runs;    ///< of rows
  };

  static void begin(Running& running, const kw::platform::TraceRecord& record);
  void note(Running& running, const kw::platform::TraceRecord& record,
            const SliceTracker::Place& place);
  bool noteName(RequestSummary& summary, const kw::platform::TraceRecord& record);
  bool noteRow(Running& running, const kw::platform::TraceRecord& record,
               const SliceTracker::Place& place);
  bool noteHAPFailure(Running& running, const kw::platform::TraceRecord& record,
                      const SliceTracker::Place& place);
  void noteEnd(Running& running, const kw::platform::TraceRecord& record);
  void close(Running& running, bool goes_on);
  void closeWaiting(std::uint32_t request);
  void noteSlice(const Slice& slice);
  static void noteRounds(Running& running);
  void refuse(const kw::platform::TraceRecord& record);

  OnRequest on_request_;
  bool slice_ended_ = false;  ///< the request slice ended with the record being taken
  Thread taken_of_;           ///< that wrote the record being taken
  std::map<Thread, Running> threads_;
  SliceTracker tracker_;
};

/// What a HAP itself says of its error code; empty when it says nothing.
using CodeMeaning = std::function<std::string(const std::string& hap, std::uint32_t code)>;

/// The outcome in words, that of an error code of a HAP by `meaning`.
std::string outcomeText(const RequestSummary& request, const CodeMeaning& meaning);

/// "row TABLE/NUMBER"; what is empty is not known.
std::string rowText(const std::string& table, const std::string& row);

/// One word for an end: ok, failed, refused, waits or open.
const char* nameOf(RequestEnd end);

/// True for an end that `--failed` asks for.
bool isFailure(RequestEnd end);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACES_REQUEST_SUMMARIES_H_
