// SPDX-License-Identifier: Apache-2.0
// Trace records as readers get them, and their levels.
#ifndef KW_TRACE_RECORD_H_
#define KW_TRACE_RECORD_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kw::platform {

/// Levels of trace records, as bits of a level mask.
enum TraceLevelBit : unsigned int {
  kTraceError = 1,
  kTraceInfo = 2,
  kTraceDebug = 4,
  kTraceDebug2 = 8,
  kTraceAll = 15,
};

/// One trace record as a listener or a reader of the ring gets it.
struct TraceRecord {
  std::uint64_t sequence;           ///< number of the record as it was read, from 0, records lost
                                    ///< before it included; 0 for a listener
  std::uint64_t time_ns;            ///< time of writing, nanoseconds of the system clock since 1970
  std::uint32_t process_id;         ///< process that wrote it
  std::uint32_t thread_id;          ///< kernel thread id of the writer
  std::uint32_t region;             ///< region handle
  std::uint32_t level;              ///< level code as given to `kw_trace_write`
  std::uint32_t trace_class;        ///< trace class
  std::uint32_t id;                 ///< trace id
  std::uint32_t length;             ///< length of the data in bytes as written
  std::vector<unsigned char> data;  ///< the data; a ring keeps the first `kTraceDataMax` bytes
  bool doubtful = false;            ///< the ring was damaged: what stands around the record in it
                                    ///< says something else of its writer or its time
};

/// Most data bytes of one record that a ring keeps.
constexpr std::size_t kTraceDataMax = 80;

}  // namespace kw::platform

#endif  // KW_TRACE_RECORD_H_
