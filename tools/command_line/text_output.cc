// SPDX-License-Identifier: Apache-2.0
#include "command_line/text_output.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>

#include "command_line/command_line.h"

namespace kw::trx::tools {
namespace {

bool hasColours() {
  const char* const unwanted = std::getenv("NO_COLOR");
  return isatty(STDOUT_FILENO) == 1 && (unwanted == nullptr || *unwanted == '\0');
}

}  // namespace

int fail(const std::string& message) {
  std::cout.flush();
  std::cerr << "trxctl: " << message << '\n';
  return kExitFailed;
}

int flushed(int status) {
  errno = 0;
  if (std::cout.flush()) {
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
  constexpr const char* codes[] = {"31", "33", "32", "90"};
  if (!has_colours) {
    return text;
  }
  return std::string("\x1b[") + codes[static_cast<int>(colour)] + "m" + text + "\x1b[0m";
}

}  // namespace kw::trx::tools
