// SPDX-License-Identifier: Apache-2.0
// A timeline as ui.perfetto.dev opens it.
#ifndef KW_TRX_TOOLS_GRAPH_TIMELINE_H_
#define KW_TRX_TOOLS_GRAPH_TIMELINE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "kw/platform.h"
#include "trace/request.h"

namespace kw::trx::tools {

class JsonWriter;

/// Collects what goes into a timeline.
class Timeline {
 public:
  /// A table or HAP; rows are left out. One that goes on behind a wait is drawn in each part of its
  /// request, on the thread of that.
  void add(const Request& request, const Span& span);
  void add(const Request& request);
  void addError(const kw::platform::TraceRecord& record) { errors_.push_back(record); }

  /// The timeline in JSON.
  std::string text() const;

 private:
  struct Bar {
    std::string name;
    const char* kind;
    std::uint32_t process_id, thread_id, request;
    std::uint64_t start_ns, end_ns;
  };

  void addBars(const Request& request, const Bar& whole);
  static void write(const Bar& bar, std::uint64_t start_ns, JsonWriter& json);

  std::vector<Bar> bars_;
  std::vector<kw::platform::TraceRecord> errors_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_GRAPH_TIMELINE_H_
