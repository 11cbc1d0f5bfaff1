// SPDX-License-Identifier: Apache-2.0
// What only the stand-in of the platform offers: its system root, the control of its trace facility
// and of its trace ring, and faults on demand. The engine uses none of it.
#ifndef KW_PLATFORM_H_
#define KW_PLATFORM_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "kw/export.h"
#include "kw/trace_record.h"

namespace kw::platform {

class RingReader;

/// Puts the platform's own files, which are the paths below "/kw/", under the folder `dir`; empty
/// text, the default, leaves them where they are. Any thread may call it.
KW_PLATFORM_API void setSystemRoot(const std::string& dir);

/// The folder last given to `setSystemRoot`.
KW_PLATFORM_API std::string getSystemRoot();

/// `path` as the platform opens it: below the system root when it is one of the platform's own.
KW_PLATFORM_API std::string resolvePath(const std::string& path);

/// Called for every record that passes the level mask, on the writing thread, before the ring gets
/// it. `data` is valid during the call alone. It must neither write a trace record itself nor
/// change the listener, the levels or the ring, nor fork.
using TraceListener = void (*)(void* context, unsigned long region, unsigned int level,
                               unsigned short trace_class, unsigned long id, const void* data,
                               int length);

/// Installs `listener`, or none when null. Returns once no call of the one before is in progress,
/// so the caller must hold nothing that one waits for. Any thread may call it.
KW_PLATFORM_API void setTraceListener(TraceListener listener, void* context);

/// Lets only the levels of `mask` (bits of `TraceLevelBit`) pass; the default is `kTraceAll`. Any
/// thread may call it.
KW_PLATFORM_API void setTraceLevels(unsigned int mask);

/// Opens the ring file at `path` (see `resolvePath`) for writing, made new, in place of any regular
/// file of that name (a directory: EISDIR; a pipe, socket or device: EINVAL; neither is touched),
/// with room for at least `records` records, at most 16777216 (EINVAL). Every record from now on is
/// stored in it, the newest over the oldest; children of a fork store in it too, but not those made
/// without its handlers (`_Fork`, `clone`). In a ring of more than 128 records each thread writes
/// to a 128th of it at a time, which it keeps when it writes no more, until it ends; threads that
/// find none share 256 records beside them. The file must not be cut short while it is in use.
/// Returns 0, or -1 with `errno` set (EFBIG: the process may not write files of that size) and any
/// ring opened before still in use. Any thread may call it.
KW_PLATFORM_API int openTraceRing(const std::string& path, std::size_t records);

/// Ends the writing of this process to the ring, when no record is being stored any more; the file
/// stays. Any thread may call it.
KW_PLATFORM_API void closeTraceRing();

/// A `RingReader` that finds its files as the platform does. Not synchronised.
class KW_PLATFORM_API TraceRingReader {
 public:
  TraceRingReader();
  TraceRingReader(const TraceRingReader&) = delete;
  TraceRingReader& operator=(const TraceRingReader&) = delete;
  ~TraceRingReader();

  /// Opens the ring file at `path` (see `resolvePath`) in place of any opened before. Returns 0, or
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
  RingReader* reader_;
};

/// Calls of the stand-in that can be told to fail.
enum class Fault { kSemaphoreCreate, kSemaphoreGet, kPropertiesLoad };

/// Lets the `nth` call of `fault` from now on fail once, counted from 1; 0 takes an order back.
/// `kPropertiesLoad` throws `std::bad_alloc`; the others return their failure value.
KW_PLATFORM_API void failCall(Fault fault, int nth);

}  // namespace kw::platform

#endif  // KW_PLATFORM_H_
