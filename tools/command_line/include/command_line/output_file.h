// SPDX-License-Identifier: Apache-2.0
// The files that commands write. One thread.
#ifndef KW_TRX_TOOLS_COMMAND_LINE_OUTPUT_FILE_H_
#define KW_TRX_TOOLS_COMMAND_LINE_OUTPUT_FILE_H_

#include <string>
#include <vector>

#include "command_line/command_line.h"

namespace kw::trx::tools {

/// The options of a command that writes a file, as given.
struct OutputOptions {
  std::string path;  ///< "-": standard output; empty: none
  bool force = false;
};

/// Adds the option `option`, which names the file, and --force.
void addOutputOptions(CommandOptions& command, OutputOptions& options, const OptionText& option);

/// A file that a command is to write.
class OutputFile {
 public:
  /// Throws `std::runtime_error` when the file has none of the `extensions`, with their points, or
  /// is one of `inputs` or a trace ring. To be made before the command does its work.
  OutputFile(const OutputOptions& options, const std::vector<std::string>& extensions,
             const std::vector<std::string>& inputs);

  /// Whether the file is asked for.
  explicit operator bool() const { return !options_.path.empty(); }

  /// Whether it is standard output, which then gets nothing else.
  bool isStandardOutput() const;

  /// Writes the file, whole or not at all. Throws `std::runtime_error` when that fails, or when
  /// without --force it would replace a file that begins otherwise than `content`.
  void write(const std::string& content) const;

 private:
  const OutputOptions options_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMAND_LINE_OUTPUT_FILE_H_
