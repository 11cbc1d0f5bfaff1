// SPDX-License-Identifier: Apache-2.0
// How the commands write text. One thread.
#ifndef KW_TRX_TOOLS_COMMAND_LINE_TEXT_OUTPUT_H_
#define KW_TRX_TOOLS_COMMAND_LINE_TEXT_OUTPUT_H_

#include <string>

namespace kw::trx::tools {

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
