// SPDX-License-Identifier: Apache-2.0
// Trace records as the command shows them: a line of text or of JSON each. One thread.
#ifndef KW_TRX_TOOLS_COMMANDS_TRACE_OUTPUT_H_
#define KW_TRX_TOOLS_COMMANDS_TRACE_OUTPUT_H_

#include <cstdint>
#include <string>

#include "kw/platform.h"
#include "table/row_notes.h"
#include "trace/request_builder.h"
#include "trace/request_filter.h"

namespace kw::trx::tools {

class TraceOutput {
 public:
  explicit TraceOutput(bool json) : json_(json) {}

  /// Shows a record; `suspicion` tells what makes it suspect, `note` what its row says; both may be
  /// null. As text a note is shown once, as JSON with each record.
  void show(const kw::platform::TraceRecord& record, const Place& place, const char* suspicion,
            const RowNote* note);

  /// Writes to standard output what is not there yet.
  void flush();

 private:
  void addLine(const kw::platform::TraceRecord& record, const Place& place, const char* suspicion);
  void addNote(const RowNote& note);
  void addJson(const kw::platform::TraceRecord& record, const Place& place, const char* suspicion,
               const RowNote* note);

  const bool json_;
  std::string out_;
};

/// Prints the requests of the ring `file` that are wanted. Returns the exit status.
int showSummary(const std::string& file, const RequestFilter& filter, bool json);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMANDS_TRACE_OUTPUT_H_
