// SPDX-License-Identifier: Apache-2.0
// Reading end of a trace ring file.
#ifndef KW_RING_READER_H_
#define KW_RING_READER_H_

#include <cstdint>
#include <string>

#include "kw/trace_record.h"

namespace kw::platform {

/// Reads a ring file, also while it is being written and after its writer was killed, and what is
/// left of one that was cut short. The machine must have the byte order of the writer's. Not
/// synchronised.
class RingReader {
 public:
  RingReader();
  RingReader(const RingReader&) = delete;
  RingReader& operator=(const RingReader&) = delete;
  ~RingReader();

  /// Opens the ring file at `path` in place of any opened before. Returns 0, or
  /// -1 with `errno` set (EINVAL: no ring file) and the one before still open.
  int open(const std::string& path);

  /// Takes the next record, oldest first by their time; records of one thread come in their order
  /// in any case. Of each thread one record is in memory; of what was written by now, what is
  /// overwritten before its turn is lost. Returns false when there is none now; a later call may
  /// find one. A record that is only half
  /// written is waited for, up to 100 ms, as its writer may be dead. Records that can't be read are
  /// skipped and counted.
  bool next(TraceRecord& record);

  /// Records skipped so far: those overwritten before `next` got them, left half written by their
  /// writer, cut off with the end of the file, or never stored as other threads held every place.
  std::uint64_t lost() const;

 private:
  struct Impl;
  Impl* impl_;
};

}  // namespace kw::platform

#endif  // KW_RING_READER_H_
