// SPDX-License-Identifier: Apache-2.0
// The commands of trxctl, each in a file of its own, and what they all share. One thread.
#ifndef KW_TRX_TOOLS_TRXCTL_COMMANDS_H_
#define KW_TRX_TOOLS_TRXCTL_COMMANDS_H_

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kw::trx::trxctl {

/// Exit statuses of the tool.
constexpr int kExitOk = 0;
constexpr int kExitFindings = 1;  ///< warnings with --strict, or a request that failed
constexpr int kExitFailed = 2;    ///< errors found, or the command could not be carried out

/// Each adds one command to the command line, which sets `status` when it has run.
void addCheckCommand(CLI::App& app, int& status);
void addConfigCommand(CLI::App& app, int& status);
void addExplainCommand(CLI::App& app, int& status);
void addGraphCommand(CLI::App& app, int& status);
void addHAPCommand(CLI::App& app, int& status);
void addModulesCommand(CLI::App& app, int& status);
void addTableCommand(CLI::App& app, int& status);
void addTraceCommand(CLI::App& app, int& status);

/// A command with the option --root, which takes effect as soon as it is read; `footer` is the end
/// of its help.
CLI::App* addCommand(CLI::App& app, const std::string& name, const std::string& what,
                     const std::string& footer);

/// Says on standard error what went wrong, where, and what to do next. Returns `kExitFailed`.
int fail(const std::string& message);

enum class Colour { kRed, kYellow, kGreen, kGrey };

/// `text` in that colour when standard output is a terminal and NO_COLOR is not set.
std::string paint(Colour colour, const std::string& text);

/// `number` as 0x and hexadecimal digits.
std::string hexText(unsigned long number);

/// The number that `text` writes in hexadecimal, 1 to 8 digits with or without 0x; none when it is
/// anything else.
std::optional<std::uint32_t> hexNumber(const std::string& text);

/// The whole path of `file`, which counts from the working folder: the engine counts all paths from
/// the root directory. An empty name stays empty, and sets `errno` like that of a missing file.
std::string absolutePath(const std::string& file);

/// The one of `known` that `word` was probably meant to be; empty when none is near.
std::string nearestOf(const std::string& word, const std::vector<std::string>& known);

}  // namespace kw::trx::trxctl

#endif  // KW_TRX_TOOLS_TRXCTL_COMMANDS_H_
