// SPDX-License-Identifier: Apache-2.0
// The file syntax is the one of Java's properties files; bytes beyond ASCII pass as they are.
#include "kw/util/config/cpp_properties.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <new>
#include <string_view>
#include <system_error>

#include "fault.h"
#include "kw/platform.h"
#include "unique_fd.h"

namespace kw::util::config {

namespace {

constexpr std::size_t kReadBytes = 65536;
constexpr std::size_t kFileMax = std::size_t{1} << 20;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t\f";

[[noreturn]] void throwError(int error, const std::string& path) {
  throw std::system_error(error, std::generic_category(), path);
}

[[noreturn]] void throwErrno(const std::string& path) { throwError(errno, path); }

/// Reads a regular file of the length that is allowed; it neither waits for the writer of a pipe
/// nor reads a device that has no end.
std::string readFile(const std::string& path) {
  const platform::UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status {};
  if (file.get() < 0 || fstat(file.get(), &status) != 0) throwErrno(path);
  if (S_ISDIR(status.st_mode)) throwError(EISDIR, path);
  if (!S_ISREG(status.st_mode)) throwError(EINVAL, path);
  std::string text;
  for (;;) {
    const std::size_t length = text.size();
    if (length > kFileMax) throwError(EFBIG, path);
    text.resize(length + kReadBytes);
    const ssize_t got = read(file.get(), &text[length], kReadBytes);
    if (got < 0 && errno != EINTR) throwErrno(path);
    text.resize(length + (got > 0 ? static_cast<std::size_t>(got) : 0));
    if (got == 0) return text;
  }
}

void trimLeft(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
}

bool isContinued(std::string_view line) {
  const std::size_t last = line.find_last_not_of('\\');
  const std::size_t backslashes = line.size() - (last == std::string_view::npos ? 0 : last + 1);
  return backslashes % 2 == 1;
}

/// Cuts a text into logical lines: blank and comment lines left out, continued lines joined.
class LogicalLines {
 public:
  explicit LogicalLines(std::string_view text) : rest_(text) {}

  /// Stores the next line, escapes unresolved; false at the end of the text.
  bool next(std::string& line) {
    std::string_view natural;
    line.clear();
    while (line.empty()) {
      if (!nextNatural(natural)) return false;
      const bool comment = !natural.empty() && (natural[0] == '#' || natural[0] == '!');
      if (!comment) join(natural, line);
    }
    return true;
  }

 private:
  bool nextNatural(std::string_view& natural) {
    if (rest_.empty()) return false;
    const std::size_t end = std::min(rest_.find_first_of("\r\n"), rest_.size());
    natural = rest_.substr(0, end);
    rest_.remove_prefix(end);
    const std::size_t line_end = rest_.substr(0, 2) == "\r\n" ? 2 : 1;
    rest_.remove_prefix(std::min(line_end, rest_.size()));
    trimLeft(natural);
    return true;
  }

  void join(std::string_view natural, std::string& line) {
    while (isContinued(natural)) {
      natural.remove_suffix(1);
      line += natural;
      if (!nextNatural(natural)) return;
    }
    line += natural;
  }

  std::string_view rest_;
};

void appendUtf8(unsigned long code_point, std::string& out) {
  if (code_point < 0x80) {
    out += static_cast<char>(code_point);
    return;
  }
  const unsigned int tails = code_point < 0x800 ? 1 : code_point < 0x10000 ? 2 : 3;
  // The first byte begins with as many ones as there are bytes.
  out += static_cast<char>(0xFF00UL >> (tails + 1) | code_point >> (6 * tails));
  for (unsigned int shift = 6 * tails; shift != 0;) {
    shift -= 6;
    out += static_cast<char>(0x80UL | (code_point >> shift & 0x3FUL));
  }
}

/// Length of an escape of one UTF-16 unit: backslash, u and four hexadecimal digits.
constexpr std::size_t kUnitEscape = 6;

/// What stands for half a surrogate pair.
constexpr unsigned long kReplacement = 0xFFFD;

/// The UTF-16 unit that `text` begins with the escape of; -1 when it begins with none.
long escapedUnit(std::string_view text) {
  if (text.size() < kUnitEscape || text.substr(0, 2) != "\\u") return -1;
  const std::string digits(text.substr(2, kUnitEscape - 2));
  if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) return -1;
  return std::strtol(digits.c_str(), nullptr, 16);
}

bool isHighSurrogate(long unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isLowSurrogate(long unit) { return unit >= 0xDC00 && unit < 0xE000; }

/// Takes the character that `text` begins with the escape of; false when it is no such escape.
bool takeUnicode(std::string_view& text, std::string& out) {
  const long unit = escapedUnit(text);
  if (unit < 0) return false;
  text.remove_prefix(kUnitEscape);
  auto code_point = static_cast<unsigned long>(unit);
  if (isHighSurrogate(unit) && isLowSurrogate(escapedUnit(text))) {
    const auto low = static_cast<unsigned long>(escapedUnit(text));
    code_point = 0x10000 + ((code_point - 0xD800) << 10) + (low - 0xDC00);
    text.remove_prefix(kUnitEscape);
  } else if (isHighSurrogate(unit) || isLowSurrogate(unit)) {
    code_point = kReplacement;
  }
  appendUtf8(code_point, out);
  return true;
}

char controlOf(char escaped) {
  constexpr std::string_view letters = "tnrf";
  constexpr std::string_view controls = "\t\n\r\f";
  const std::size_t at = letters.find(escaped);
  return at == std::string_view::npos ? escaped : controls[at];
}

std::string unescape(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const std::size_t plain = std::min(text.find('\\'), text.size());
    out += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.empty() || takeUnicode(text, out)) continue;
    if (text.size() > 1) out += controlOf(text[1]);
    text.remove_prefix(std::min<std::size_t>(2, text.size()));
  }
  return out;
}

/// Cuts the key with its separator off `line`, which keeps the value.
std::string_view takeKey(std::string_view& line) {
  const std::string_view whole = line;
  std::size_t end = 0;
  while (end < whole.size() && std::string_view("=: \t\f").find(whole[end]) == whole.npos) {
    end += whole[end] == '\\' ? 2 : 1;
  }
  end = std::min(end, whole.size());
  line.remove_prefix(end);
  trimLeft(line);
  if (!line.empty() && (line[0] == '=' || line[0] == ':')) {
    line.remove_prefix(1);
    trimLeft(line);
  }
  return whole.substr(0, end);
}

}  // namespace

CppProperties::CppProperties(bool /*reserved*/) {}

CppProperties::~CppProperties() = default;

void CppProperties::load(const std::string& path) {
  if (platform::mustFail(platform::Fault::kPropertiesLoad)) throw std::bad_alloc();
  const std::string file = readFile(platform::resolvePath(path));
  std::string_view text = file;
  if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
    text.remove_prefix(kByteOrderMark.size());
  }
  std::map<std::string, std::string> loaded;
  LogicalLines lines(text);
  for (std::string line; lines.next(line);) {
    std::string_view value = line;
    const std::string_view key = takeKey(value);
    loaded[unescape(key)] = unescape(value);
  }
  loaded.merge(pairs_);
  pairs_.swap(loaded);
}

bool CppProperties::exist(const std::string& key) const { return pairs_.count(key) != 0; }

std::string CppProperties::getProperty(const std::string& key) const {
  const auto found = pairs_.find(key);
  return found == pairs_.end() ? std::string() : found->second;
}

int CppProperties::getInt(const std::string& key) const {
  const auto found = pairs_.find(key);
  if (found == pairs_.end()) return 0;
  const long long number = std::strtoll(found->second.c_str(), nullptr, 10);
  const auto in_range = std::clamp<long long>(number, std::numeric_limits<int>::min(),
                                              std::numeric_limits<int>::max());
  return static_cast<int>(in_range);
}

void CppProperties::clear() { pairs_.clear(); }

}  // namespace kw::util::config
