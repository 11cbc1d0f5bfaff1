// SPDX-License-Identifier: Apache-2.0
// The built tool, run as a process of its own.
#ifndef KW_TRX_TESTS_TRXCTL_TOOL_H_
#define KW_TRX_TESTS_TRXCTL_TOOL_H_

#include <string>

namespace kw::trx::testing {

/// What a run of the tool printed, with "! " before each line on standard error, and a last line
/// with its exit status. `arguments` are those of a shell, run in the folder `folder`.
std::string runTool(const std::string& arguments, const std::string& folder = "/");

/// Standard output of a run alone.
std::string outputOf(const std::string& arguments, const std::string& folder = "/");

/// The content of a file.
std::string readFile(const std::string& path);

}  // namespace kw::trx::testing

#endif  // KW_TRX_TESTS_TRXCTL_TOOL_H_
