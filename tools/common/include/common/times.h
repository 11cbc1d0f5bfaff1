// SPDX-License-Identifier: Apache-2.0
// Points in time as people read and write them. Any thread.
#ifndef KW_TRX_TOOLS_COMMON_TIMES_H_
#define KW_TRX_TOOLS_COMMON_TIMES_H_

#include <cstdint>
#include <optional>
#include <string>

namespace kw::trx::tools {

constexpr std::uint64_t kNanosPerSecond = 1000000000;
constexpr std::uint64_t kNanosPerMicro = 1000;

/// Local date, time and zone of `seconds` since 1970, such as 2026-11-23 10:24:03+0100.
std::string localTimeText(std::int64_t seconds);

/// The same of nanoseconds, with microseconds: 2026-11-23 10:24:03.120345+0100.
std::string localMicrosText(std::uint64_t time_ns);

/// A duration in milliseconds, with microseconds: 31.037.
std::string millisText(std::uint64_t duration_ns);

/// A duration with three digits or more and its unit, such as 470 µs, 61.0 ms or 312 s.
std::string durationText(std::uint64_t duration_ns);

/// The point in time, in nanoseconds since 1970, that `text` names; none when it names none. It is
/// one such as the above, zone, fraction, seconds or time of day left out at will; a time of day on
/// the day of `end_ns`; or a number with s, m, h or d, so long before `end_ns`.
std::optional<std::uint64_t> timeOf(const std::string& text, std::uint64_t end_ns);

/// What is wrong with a text that should name a point in time; empty when nothing is.
std::string timeProblem(const std::string& text);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMON_TIMES_H_
