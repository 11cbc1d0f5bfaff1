// SPDX-License-Identifier: Apache-2.0
// Trace records as the command shows them: as text or as a line of JSON each. One thread.
#ifndef KW_TRX_TOOLS_COMMANDS_RECORD_OUTPUT_H_
#define KW_TRX_TOOLS_COMMANDS_RECORD_OUTPUT_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>

#include "kw/platform.h"
#include "table/row_notes.h"
#include "trace/request_builder.h"

namespace kw::trx::tools {

/// How records are shown.
struct RecordForm {
  bool json;
  bool wide;        ///< all that is known, a line each; else at most 80 columns
  bool with_rings;  ///< with the number of the ring, as there are several
};

class RecordOutput {
 public:
  /// `last`: shows the last so many alone, at the end; 0: all, as they come.
  RecordOutput(const RecordForm& form, std::size_t last) : form_(form), last_(last) {}

  /// Shows a record; `suspicion` tells what makes it suspect, `note` what its row says; both may be
  /// null. As text a note is shown once, as JSON with each record.
  void show(const kw::platform::TraceRecord& record, std::size_t ring, const Place& place,
            const char* suspicion, const RowNote* note);

  /// Writes to standard output what is not there yet.
  void flush();

 private:
  struct Shown {
    const kw::platform::TraceRecord& record;
    const std::size_t ring;
    const Place& place;
    const char* suspicion;
  };

  void add(const std::string& day, const std::string& text);
  void addWide(const Shown& shown);
  void addNarrow(const Shown& shown);
  void addNote(const RowNote& note);
  void addJson(const Shown& shown, const RowNote* note);

  const RecordForm form_;
  const std::size_t last_;
  std::string out_;                                       // the record that is being shown
  std::string block_;                                     // text that is not written yet
  std::deque<std::pair<std::string, std::string>> kept_;  // the last ones, with their days
  std::string day_;                                       // of the last one in `block_`
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMANDS_RECORD_OUTPUT_H_
