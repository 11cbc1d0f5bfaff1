// SPDX-License-Identifier: Apache-2.0
// What each thread was doing when it wrote a trace record: its request, tables and HAPs.
#ifndef KW_TRX_TOOLS_TRACES_SLICES_H_
#define KW_TRX_TOOLS_TRACES_SLICES_H_

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kw/platform.h"

namespace kw::trx::tools {

/// A span of time in which one thread worked on something.
struct Slice {
  enum class Kind { kRequest, kTable, kHAP };
  Kind kind;
  std::string name;
  std::uint32_t process_id, thread_id;
  std::uint64_t begin_ns, end_ns;
  std::uint32_t request;
};

/// Follows the records of all threads. What a record leaves open, such as the HAP that threw, ends
/// with the next record that tells so. Records may be missing.
class SliceTracker {
 public:
  /// `ended` is called with each slice when it ends, inner ones before outer ones.
  explicit SliceTracker(std::function<void(const Slice&)> ended);

  /// What a record belongs to.
  struct Place {
    std::uint32_t request = 0;  ///< id; 0: none
    std::uint32_t number = 0;   ///< of the request among those of its id, from 1; 0: not known
    /// Outermost first; their ends are not known yet. Null for none.
    std::shared_ptr<const std::vector<Slice>> slices;
  };

  /// Takes the next record; returns its place.
  Place take(const kw::platform::TraceRecord& record);

  /// Ends all open slices at the last record of their threads.
  void finish();

  /// How many requests have begun, by id.
  const std::map<std::uint32_t, std::uint32_t>& requests() const { return requests_; }

 private:
  struct Thread {
    std::vector<Slice> open;
    std::uint64_t last_ns = 0;
    std::uint32_t request = 0;
    std::uint32_t number = 0;  ///< of the request; 0 until its id is known
    bool error_end = false;    ///< the tables of the request are being ended one by one
    std::shared_ptr<const std::vector<Slice>> shown;  ///< copy of `open`; null when that changed
  };

  void open(Thread& thread, const kw::platform::TraceRecord& record, Slice::Kind kind,
            const std::string& name);
  void closeTop(Thread& thread);
  void closeAll(Thread& thread);
  void closeHAP(Thread& thread, const std::string& name);
  void closeHAPsOfRow(Thread& thread);
  void endTable(Thread& thread, bool with_error);
  void resume(Thread& thread, const kw::platform::TraceRecord& record);
  void begin(Thread& thread, const kw::platform::TraceRecord& record);
  void countRequest(Thread& thread, const kw::platform::TraceRecord& record);
  Place placeOf(Thread& thread, const kw::platform::TraceRecord& record);
  void end(Thread& thread, const kw::platform::TraceRecord& record);

  std::function<void(const Slice&)> ended_;
  std::map<std::pair<std::uint32_t, std::uint32_t>, Thread> threads_;
  std::map<std::uint32_t, std::vector<std::string>> interrupted_;  ///< tables by request
  std::map<std::uint32_t, std::uint32_t> requests_;                ///< how many, by id
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACES_SLICES_H_
