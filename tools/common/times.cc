// SPDX-License-Identifier: Apache-2.0
#include "common/times.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <ctime>

namespace kw::trx::tools {
namespace {

constexpr std::size_t kDateLength = 10;
constexpr std::size_t kFractionDigits = 9;
constexpr std::size_t kMicroDigits = 6;
constexpr std::size_t kMilliDigits = 3;

std::uint64_t secondsIn(char unit) {
  switch (unit) {
    case 's':
      return 1;
    case 'm':
      return 60;
    case 'h':
      return 3600;
    case 'd':
      return 86400;
    default:
      return 0;
  }
}

std::optional<std::uint64_t> relativeTime(const std::string& text, std::uint64_t end_ns) {
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  if (read.ec != std::errc() || read.ptr == end || read.ptr + 1 != end ||
      secondsIn(*read.ptr) == 0) {
    return std::nullopt;
  }
  const std::uint64_t back_s = number * secondsIn(*read.ptr);
  return back_s > end_ns / kNanosPerSecond ? 0 : end_ns - back_s * kNanosPerSecond;
}

/// Takes a fraction of a second off the front of `rest`; its nanoseconds.
std::uint64_t takeFraction(const char*& rest) {
  std::uint64_t nanos = 0;
  std::size_t digits = 0;
  for (++rest; *rest >= '0' && *rest <= '9'; ++rest) {
    if (digits < kFractionDigits) {
      nanos = nanos * 10 + static_cast<std::uint64_t>(*rest - '0');
      ++digits;
    }
  }
  for (; digits < kFractionDigits; ++digits) {
    nanos *= 10;
  }
  return nanos;
}

/// The time that `text` writes in this form of strptime(3); `day` gives what the form leaves out.
std::optional<std::uint64_t> absoluteTime(const std::string& text, const char* form, std::tm day) {
  day.tm_hour = day.tm_min = day.tm_sec = 0;
  day.tm_isdst = -1;
  const char* rest = strptime(text.c_str(), form, &day);
  if (rest == nullptr) {
    return std::nullopt;
  }
  const std::uint64_t nanos = *rest == '.' ? takeFraction(rest) : 0;
  const bool has_zone = *rest == '+' || *rest == '-' || *rest == 'Z';
  std::tm zone{};
  if (has_zone) {
    rest = strptime(rest, "%z", &zone);
  }
  if (rest == nullptr || *rest != '\0') {
    return std::nullopt;
  }
  const std::int64_t seconds = has_zone ? timegm(&day) - zone.tm_gmtoff : mktime(&day);
  return static_cast<std::uint64_t>(std::max<std::int64_t>(seconds, 0)) * kNanosPerSecond + nanos;
}

std::tm localTime(std::int64_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  std::tm parts{};
  localtime_r(&time, &parts);
  return parts;
}

std::string formatted(const char* form, std::int64_t seconds) {
  const std::tm parts = localTime(seconds);
  char text[64];
  return {text, std::strftime(text, sizeof(text), form, &parts)};
}

std::string padded(std::uint64_t number, std::size_t digits) {
  const std::string text = std::to_string(number);
  return std::string(digits - text.size(), '0') + text;
}

}  // namespace

std::string localTimeText(std::int64_t seconds) { return formatted("%F %T%z", seconds); }

std::string localMicrosText(std::uint64_t time_ns) {
  thread_local std::int64_t last_seconds = -1;
  thread_local std::string date, zone;  // the same for all times of a second
  const auto seconds = static_cast<std::int64_t>(time_ns / kNanosPerSecond);
  if (seconds != last_seconds) {
    date = formatted("%F %T.", seconds);
    zone = formatted("%z", seconds);
    last_seconds = seconds;
  }
  return date + padded(time_ns % kNanosPerSecond / kNanosPerMicro, kMicroDigits) + zone;
}

std::string millisText(std::uint64_t duration_ns) {
  const std::uint64_t micros =
      duration_ns / kNanosPerMicro + (duration_ns % kNanosPerMicro >= kNanosPerMicro / 2 ? 1 : 0);
  return std::to_string(micros / 1000) + "." + padded(micros % 1000, kMilliDigits);
}

std::string durationText(std::uint64_t duration_ns) {
  struct Unit {
    const char* name;
    std::uint64_t size_ns;
  };
  constexpr Unit units[] = {{"s", kNanosPerSecond}, {"ms", 1000000}, {"µs", kNanosPerMicro}};
  constexpr double few = 10, many = 100;
  for (const Unit& unit : units) {
    if (duration_ns >= unit.size_ns || unit.size_ns == kNanosPerMicro) {
      const double value = static_cast<double>(duration_ns) / static_cast<double>(unit.size_ns);
      char text[32];
      std::snprintf(text, sizeof(text), "%.*f %s",
                    value < few    ? 2
                    : value < many ? 1
                                   : 0,
                    value, unit.name);
      return text;
    }
  }
  return {};
}

std::optional<std::uint64_t> timeOf(const std::string& text, std::uint64_t end_ns) {
  if (const auto relative = relativeTime(text, end_ns)) {
    return relative;
  }
  std::string blank = text;
  if (blank.size() > kDateLength && blank[kDateLength] == 'T') {
    blank[kDateLength] = ' ';
  }
  const std::tm day = localTime(static_cast<std::int64_t>(end_ns / kNanosPerSecond));
  for (const char* form :
       {"%Y-%m-%d %H:%M:%S", "%Y-%m-%d %H:%M", "%Y-%m-%d", "%H:%M:%S", "%H:%M"}) {
    if (const auto time = absoluteTime(blank, form, day)) {
      return time;
    }
  }
  return std::nullopt;
}

std::string timeProblem(const std::string& text) {
  return timeOf(text, 0) ? std::string()
                         : "'" + text +
                               "' is no time; write one such as 5m, 2h (before the last record), "
                               "10:24, '2026-11-23 10:24:03'";
}

}  // namespace kw::trx::tools
