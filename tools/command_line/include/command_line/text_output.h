// SPDX-License-Identifier: Apache-2.0
// How the commands write text. One thread.
#ifndef KW_TRX_TOOLS_COMMAND_LINE_TEXT_OUTPUT_H_
#define KW_TRX_TOOLS_COMMAND_LINE_TEXT_OUTPUT_H_

#include <iosfwd>
#include <string>

namespace kw::trx::tools {

/// From here on nothing that standard output and standard error print is obeyed by a terminal, but
/// for the colours of `paint`: characters that do not show are printed as \x and two digits.
void guardTerminal();

/// Standard output for data, which a terminal gets as above, and all else unchanged.
std::ostream& dataOutput();

/// Sends a terminal what it is to obey.
void control(const char* sequence);

/// Says on standard error what went wrong, where, and what to do next. Returns `kExitFailed`.
int fail(const std::string& message);

/// Ends standard output: `status` when all of it was written, else `kExitFailed`, after saying why.
int flushed(int status);

/// Waits for `time_ms`; false, and at once, when nobody reads standard output any more.
bool waitWithReader(int time_ms);

enum class Colour { kRed, kYellow, kGreen, kGrey };

/// `text` in that colour when standard output is a terminal and NO_COLOR is not set.
std::string paint(Colour colour, const std::string& text);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMAND_LINE_TEXT_OUTPUT_H_
