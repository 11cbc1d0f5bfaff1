// SPDX-License-Identifier: Apache-2.0
// Writing end of a trace ring file: a handle on the mapping, copied freely and released once.
#ifndef KW_RING_TRACE_RING_H_
#define KW_RING_TRACE_RING_H_

#include <cstddef>
#include <cstdint>

#include "new_file.h"
#include "trace_file.h"
#include "trace_writer.h"

namespace kw::platform {

/// One record as `kw_trace_write` got it.
struct TraceArguments {
  unsigned long region;
  unsigned int level;
  unsigned short trace_class;
  unsigned long id;
  const void* data;
  int length;
};

class TraceRing {
 public:
  constexpr TraceRing() noexcept = default;

  /// Makes the ring file at `path` with at least `records` slots and maps it into `ring`. Returns
  /// 0, or -1 with `errno` set and everything as it was: EEXIST when a file is there that must not
  /// be replaced, EFBIG when the process may not write files of that size. It allocates nothing, so
  /// a signal handler may call it.
  static int create(const char* path, std::size_t records, Existing existing,
                    TraceRing& ring) noexcept;

  /// Ends the mapping; no thread may use any copy of the handle from then on. A ring that this
  /// process made is noted as closed.
  void release() const noexcept;

  /// Stores one record of the calling thread; false when every lane that it tried is in use. Any
  /// thread of any process that has the mapping may call it, also at the same time.
  bool store(const TraceArguments& record, Writer& writer) const noexcept;

 private:
  void noteProcesses(const char* path) const noexcept;
  TraceRing(void* mapping, const trace_file::Shape& shape) noexcept;

  bool storeAt(LaneCursor& cursor, const TraceArguments& record, Writer& writer) const noexcept;
  __attribute__((noinline)) bool storeOutOfTurn(TraceArguments record,
                                                Writer& writer) const noexcept;
  __attribute__((noinline)) bool claim(Writer& writer, LaneCursor& cursor) const noexcept;
  bool claimOf(std::uint32_t first, std::uint32_t count, trace_file::SharedWord& tries,
               std::uint32_t thread, LaneCursor& cursor) const noexcept;
  bool take(std::uint32_t index, std::uint32_t thread, LaneCursor& cursor) const noexcept;
  std::uint64_t nextClaim() const noexcept;

  trace_file::SharedHeader* header_ = nullptr;
  trace_file::SharedLane* lanes_ = nullptr;
  trace_file::SharedSlot* slots_ = nullptr;
  trace_file::Shape shape_{};
  std::uint64_t number_ = 0;  // tells rings of the process apart
};

}  // namespace kw::platform

#endif  // KW_RING_TRACE_RING_H_
