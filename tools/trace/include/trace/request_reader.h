// SPDX-License-Identifier: Apache-2.0
// Reads requests out of rings: the one loop for all commands. One thread.
#ifndef KW_TRX_TOOLS_TRACE_REQUEST_READER_H_
#define KW_TRX_TOOLS_TRACE_REQUEST_READER_H_

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "trace/request_builder.h"
#include "trace/ring_source.h"

namespace kw::trx::tools {

/// What is wrong with what was read of rings.
struct Losses {
  std::uint64_t suspect = 0;  ///< records
  std::uint64_t lost = 0;     ///< records that were overwritten, torn or cut off
  std::uint64_t clock_steps = 0;
  std::uint64_t largest_step_ns = 0;  ///< that the clock was put back
};

/// A sentence on each.
std::vector<std::string> textOf(const Losses& losses);

/// A record with what it belongs to.
struct PlacedRecord {
  const kw::platform::TraceRecord& record;
  const Event& event;
  const Place& place;     ///< empty for a suspect record
  const char* suspicion;  ///< as of `suspicionOf`
  std::size_t ring;
};

class RequestReader {
 public:
  using OnRecord = std::function<void(const PlacedRecord& record)>;

  /// The listener must outlive it.
  explicit RequestReader(RequestListener& listener) : listener_(listener) {}

  /// Opens a further ring. Returns 0, or -1 with `errno` set as `RingReader::open` does.
  int open(const std::string& file);

  /// Calls `on_record` with each record behind what it ends. `with_places`: tells the places too.
  void watch(OnRecord on_record, bool with_places);

  /// Takes all records that are there now, until `stop` is true; it may be null. A suspect record
  /// starts, tells and ends nothing.
  void read(const std::function<bool()>& stop = {});

  /// Goes over to rings that were made anew, once `read` has taken the rest of the former ones.
  /// Requests of those have ended. Returns the places of these rings.
  std::vector<std::size_t> switchOver();

  /// Hands on all requests, also those that have not ended; to be called once, at the end.
  void finish();

  /// The same for those whose end only the next record of their thread could still change.
  void settle();

  /// How many requests have started, by id; the maximum of one ring.
  std::map<std::uint32_t, std::uint32_t> requests() const;
  Losses losses() const;
  std::size_t threads() const;
  std::uint64_t records() const { return records_; }   ///< without the suspect ones
  std::uint64_t startNs() const { return start_ns_; }  ///< time of the first of them; 0: none
  std::uint64_t endNs() const { return end_ns_; }      ///< of the last of them; 0: none
  const RequestBuilder& builder(std::size_t ring) const { return *builders_[ring]; }
  std::size_t rings() const { return builders_.size(); }
  /// Requests of that ring whose end is not known, once `finish` was called.
  std::uint64_t openRequests(std::size_t ring) const { return builders_[ring]->openRequests(); }
  /// `errno` of the first read of that ring that failed; 0: none did.
  int error(std::size_t ring) const { return source_.error(ring); }
  kw::platform::RingWriters writers(std::size_t ring) const { return source_.writers(ring); }

 private:
  std::unique_ptr<RequestBuilder> newBuilder(std::size_t ring);
  void noteSteps(const RequestBuilder& builder);

  RequestListener& listener_;
  OnRecord on_record_;
  bool with_places_ = false;
  RingSource source_;
  const std::shared_ptr<LockHistory> lock_ = std::make_shared<LockHistory>();
  std::vector<std::unique_ptr<RequestBuilder>> builders_;  // by ring
  std::uint64_t records_ = 0, start_ns_ = 0, end_ns_ = 0;
  Losses losses_;  // of the rings that were made anew, and suspect records
};

/// The time of the last record of these rings, as far as they can be read; 0: there is none.
std::uint64_t endOfRings(const std::vector<std::string>& files);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_REQUEST_READER_H_
