// SPDX-License-Identifier: Apache-2.0
// Which files are read at all, and what is said of those that are not.
#ifndef KW_TRX_SHARED_FILE_LIMITS_H_
#define KW_TRX_SHARED_FILE_LIMITS_H_

#include <unistd.h>

namespace kw::trx::trx {

/// The longest table file that is read, in bytes: what is kept of its cells takes many times that.
constexpr unsigned long long kTableFileMax = 16ULL << 20;

constexpr char kNotRegularWords[] = "is no regular file";
constexpr char kTableTooLargeWords[] = "is larger than 16 MiB";
constexpr char kUnreadableWords[] = "cannot be read: its disk may be failing";
constexpr char kCutShortWords[] = "is cut short: copy it again";

/// True when the loader maps a page for a part of a module that lies wholly behind the end of a
/// file of `file_bytes`: the first access to it would kill the process. The rest of the file's last
/// page is zeros. The part has `bytes` of the file from `offset` on, and belongs at `address`;
/// without bytes, and on a page of its own, it is not mapped from the file.
inline bool isPartCutShort(unsigned long long offset, unsigned long long bytes,
                           unsigned long long address, unsigned long long file_bytes) {
  const auto page = static_cast<unsigned long long>(getpagesize());
  if (bytes == 0 && address % page == 0) {
    return false;
  }
  unsigned long long end = 0;
  return __builtin_add_overflow(offset, bytes, &end) || (end - 1) / page * page >= file_bytes;
}

}  // namespace kw::trx::trx

#endif  // KW_TRX_SHARED_FILE_LIMITS_H_
