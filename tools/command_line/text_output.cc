// SPDX-License-Identifier: Apache-2.0
#include "command_line/text_output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <streambuf>
#include <string_view>
#include <utility>

#include "command_line/command_line.h"
#include "common/characters.h"

namespace kw::trx::tools {
namespace {

bool hasColours() {
  const char* const unwanted = std::getenv("NO_COLOR");
  return isatty(STDOUT_FILENO) == 1 && (unwanted == nullptr || *unwanted == '\0');
}

constexpr const char* kColourCodes[] = {"31", "33", "32", "90"};

std::string colourStart(const char* code) { return std::string("\x1b[") + code + "m"; }
constexpr char kColourEnd[] = "\x1b[0m";

/// The size of what `paint` has put at `at`; 0: nothing.
std::size_t colourAt(const std::string& text, std::size_t at) {
  if (text[at] != '\x1b') {
    return 0;
  }
  for (const char* code : kColourCodes) {
    if (const std::string start = colourStart(code); text.compare(at, start.size(), start) == 0) {
      return start.size();
    }
  }
  return text.compare(at, sizeof(kColourEnd) - 1, kColourEnd) == 0 ? sizeof(kColourEnd) - 1 : 0;
}

/// `text` without anything that a terminal obeys but line ends, tabs and colours.
std::string guarded(const std::string& text) {
  std::string shown;
  std::size_t start = 0;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t size = text[at] == '\n' || text[at] == '\t' ? 1 : colourAt(text, at);
    if (size != 0) {
      shown += visible(text.substr(start, at - start));
      shown += text.substr(at, size);
      start = at + size;
    }
    at += std::max<std::size_t>(size, 1);
  }
  return shown + visible(text.substr(start));
}

bool isPlain(const std::string& text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return c == '\n' || (c >= ' ' && c <= '~'); });
}

/// Guards what a stream prints.
class Guard : public std::streambuf {
 public:
  explicit Guard(std::ostream& stream) : stream_(stream), raw_(stream.rdbuf(this)) {}
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;
  ~Guard() override {
    static_cast<void>(flushAll());
    stream_.rdbuf(raw_);
  }

  std::streambuf* raw() const { return raw_; }

 protected:
  int overflow(int c) override {
    const char character = static_cast<char>(c);
    return c == traits_type::eof() || xsputn(&character, 1) == 1 ? 0 : traits_type::eof();
  }

  std::streamsize xsputn(const char* text, std::streamsize size) override {
    const std::size_t end = std::string_view(text, static_cast<std::size_t>(size)).rfind('\n');
    text_.append(text, static_cast<std::size_t>(size));
    return end == std::string_view::npos || writeLines() ? size : 0;
  }

  int sync() override { return flushAll() ? 0 : -1; }

 private:
  bool flushAll() { return put(std::exchange(text_, {})) && raw_->pubsync() == 0; }

  /// Writes what is there but for an unfinished line, which may end within a character.
  bool writeLines() {
    const std::size_t size = text_.rfind('\n') + 1;
    const std::string lines = text_.substr(0, size);
    text_.erase(0, size);
    return put(lines);
  }

  bool put(const std::string& text) {
    const std::string shown = isPlain(text) ? text : guarded(text);
    const auto bytes = static_cast<std::streamsize>(shown.size());
    return raw_->sputn(shown.data(), bytes) == bytes;
  }

  std::ostream& stream_;
  std::streambuf* const raw_;
  std::string text_;
};

Guard* output_guard = nullptr;

}  // namespace

void guardTerminal() {
  static Guard output(std::cout);
  static Guard errors(std::cerr);
  output_guard = &output;
}

std::ostream& dataOutput() {
  static std::ostream data(output_guard == nullptr || isatty(STDOUT_FILENO) == 1
                               ? std::cout.rdbuf()
                               : output_guard->raw());
  std::cout.flush();
  return data;
}

void control(const char* sequence) {
  std::cout.flush();
  std::streambuf* const raw = output_guard == nullptr ? std::cout.rdbuf() : output_guard->raw();
  raw->sputn(sequence, static_cast<std::streamsize>(std::strlen(sequence)));
}

int fail(const std::string& message) {
  std::cout.flush();
  std::cerr << "trxctl: " << message << '\n';
  return kExitFailed;
}

int flushed(int status) {
  errno = 0;
  if (std::cout.flush() && dataOutput().flush()) {
    return status;
  }
  return fail(std::string("standard output: ") +
              (errno != 0 ? std::strerror(errno) : "not written"));
}

bool waitWithReader(int time_ms) {
  pollfd output{STDOUT_FILENO, 0, 0};
  return poll(&output, 1, time_ms) <= 0 && std::cout;
}

std::string paint(Colour colour, const std::string& text) {
  static const bool has_colours = hasColours();
  if (!has_colours) {
    return text;
  }
  return colourStart(kColourCodes[static_cast<int>(colour)]) + text + kColourEnd;
}

}  // namespace kw::trx::tools
