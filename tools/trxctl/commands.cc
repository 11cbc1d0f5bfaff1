// SPDX-License-Identifier: Apache-2.0
#include "trxctl/commands.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <numeric>
#include <sstream>

#include "kw/platform.h"

namespace kw::trx::trxctl {
namespace {

constexpr int kHexBase = 16;
constexpr std::size_t kHexDigits = 8;

bool hasColours() {
  const char* const unwanted = std::getenv("NO_COLOR");
  return isatty(STDOUT_FILENO) == 1 && (unwanted == nullptr || *unwanted == '\0');
}

char lower(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

/// How many letters have to be changed, put in or left out to make `b` of `a`; letter case is free.
std::size_t distanceOf(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t change = diagonal + (lower(a[i]) == lower(b[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({change, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

}  // namespace

CLI::App* addCommand(CLI::App& app, const std::string& name, const std::string& what,
                     const std::string& footer) {
  CLI::App* command = app.add_subcommand(name, what);
  command
      ->add_option_function<std::string>(
          "--root", [](const std::string& dir) { kw::platform::setSystemRoot(absolutePath(dir)); },
          "The folder that the platform's own files, those below /kw/, lie in")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory)
      ->trigger_on_parse();
  command->footer(footer);
  return command;
}

int fail(const std::string& message) {
  std::cout.flush();
  std::cerr << "trxctl: " << message << '\n';
  return kExitFailed;
}

std::string paint(Colour colour, const std::string& text) {
  static const bool has_colours = hasColours();
  constexpr const char* codes[] = {"31", "33", "32", "90"};
  if (!has_colours) {
    return text;
  }
  return std::string("\x1b[") + codes[static_cast<int>(colour)] + "m" + text + "\x1b[0m";
}

std::string hexText(unsigned long number) {
  std::ostringstream out;
  out << "0x" << std::hex << number;
  return out.str();
}

std::optional<std::uint32_t> hexNumber(const std::string& text) {
  const std::size_t begin = text.rfind("0x", 0) == 0 ? 2 : 0;
  const char* const end = text.data() + text.size();
  std::uint32_t number = 0;
  const auto read = std::from_chars(text.data() + begin, end, number, kHexBase);
  const bool whole = read.ec == std::errc() && read.ptr == end && text.size() - begin <= kHexDigits;
  return whole ? std::optional<std::uint32_t>(number) : std::nullopt;
}

std::string absolutePath(const std::string& file) {
  if (file.empty()) {
    errno = ENOENT;  // as opening it would
    return {};
  }
  std::string path = std::filesystem::absolute(file).lexically_normal();
  if (path.size() > 1 && path.back() == '/') {
    path.pop_back();
  }
  return path;
}

std::string nearestOf(const std::string& word, const std::vector<std::string>& known) {
  std::string nearest;
  std::size_t least = word.size() / 3 + 1;
  for (const std::string& candidate : known) {
    const std::size_t distance = distanceOf(word, candidate);
    const bool shares = distance < std::min(word.size(), candidate.size());
    if (shares && distance <= least && (nearest.empty() || distance < least)) {
      nearest = candidate;
      least = distance;
    }
  }
  return nearest;
}

}  // namespace kw::trx::trxctl
