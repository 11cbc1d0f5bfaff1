// SPDX-License-Identifier: Apache-2.0
// Reading end of a trace ring file; docs/trace-ring.md tells how it works.
#ifndef KW_RING_READER_H_
#define KW_RING_READER_H_

#include <cstdint>
#include <memory>
#include <string>

#include "kw/trace_record.h"

namespace kw::platform {

/// Who writes a ring. Ids and life of processes are those of the machine, and of the PID namespace,
/// that the reader runs on; of a ring that was copied from elsewhere they say nothing.
struct RingWriters {
  std::uint32_t maker = 0;  ///< process that made the ring; 0: it has closed it, or is not known
  bool maker_is_running = false;
  /// Process that was writing the file of this name when the ring took its place. It writes on into
  /// that file, which no name leads to any more; 0: none is known.
  std::uint32_t displaced = 0;
  /// False when the path that was opened leads to another file by now, or to none: what is read
  /// here is a ring that was displaced itself.
  bool is_at_path = false;
};

/// Reads a ring file, also while it is being written and after its writer was killed, and what is
/// left of one that was cut short. The machine must have the byte order of the writer's. Not
/// synchronised.
class RingReader {
 public:
  RingReader();
  ~RingReader();

  /// Opens the ring file at `path` in place of any opened before. Returns 0, or -1 with `errno` set
  /// (EINVAL: no ring file) and the one before still open.
  int open(const std::string& path);

  /// Takes the next record, oldest first by their time; records of one thread come in their order
  /// in any case. Of each thread one record is in memory; of what was written by now, what is
  /// overwritten before its turn is lost. Returns false when there is none now; a later call may
  /// find one. A record that is only half written is waited for, up to 100 ms, as its writer may be
  /// dead. Records that can't be read are skipped and counted.
  bool next(TraceRecord& record);

  /// `errno` of the first read of the file that failed, such as EIO; 0 while none did. From then on
  /// `next` finds nothing: what it has not handed out is neither lost nor overwritten, but not
  /// known.
  int error() const;

  /// What the ring tells of those who write it, as it stands now; nothing when it can't be read.
  RingWriters writers() const;

  /// Records skipped so far: those overwritten before `next` got them, left half written by their
  /// writer, cut off with the end of the file, or never stored as other threads held every place.
  std::uint64_t lost() const;

 private:
  class File;
  std::unique_ptr<File> file_;
};

}  // namespace kw::platform

#endif  // KW_RING_READER_H_
