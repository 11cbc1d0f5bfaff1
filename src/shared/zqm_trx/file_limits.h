// SPDX-License-Identifier: Apache-2.0
// Which files are read at all, and what is said of those that are not.
#ifndef KW_TRX_SHARED_FILE_LIMITS_H_
#define KW_TRX_SHARED_FILE_LIMITS_H_

namespace kw::trx::trx {

/// The longest module file that is opened, in bytes.
constexpr unsigned long long kModuleFileMax = 256ULL << 20;
/// The longest table file that is read, in bytes: what is kept of its cells takes many times that.
constexpr unsigned long long kTableFileMax = 16ULL << 20;

constexpr char kNotRegularWords[] = "is no regular file";
constexpr char kModuleTooLargeWords[] = "is larger than 256 MiB";
constexpr char kTableTooLargeWords[] = "is larger than 16 MiB";
constexpr char kUnreadableWords[] = "cannot be read: its disk may be failing";
constexpr char kCutShortWords[] = "is cut short: copy it again";

}  // namespace kw::trx::trx

#endif  // KW_TRX_SHARED_FILE_LIMITS_H_
