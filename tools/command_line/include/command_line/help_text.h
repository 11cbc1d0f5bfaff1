// SPDX-License-Identifier: Apache-2.0
// The helps, made from the definitions of the commands. Any thread.
#ifndef KW_TRX_TOOLS_COMMAND_LINE_HELP_TEXT_H_
#define KW_TRX_TOOLS_COMMAND_LINE_HELP_TEXT_H_

#include <string>
#include <vector>

#include "command_line/command_line.h"

namespace kw::trx::tools {

/// One option as it is defined.
struct OptionDefinition {
  OptionText text;
  bool is_flag = false;
  bool may_repeat = false;
  std::string default_value = {};  ///< empty: none is shown

  bool isArgument() const { return text.names[0] != '-'; }
};

/// One command with its options, in the order of the help.
struct CommandDefinition {
  CommandText text;
  std::vector<OptionDefinition> options;
};

/// The long names of the options of a command, --help too.
std::vector<std::string> optionNamesOf(const CommandDefinition& command);

/// The help of one command, in lines of at most 80 characters.
std::string helpOf(const CommandDefinition& command);

/// The help of the tool: all commands, by group.
std::string helpOf(const std::vector<CommandDefinition>& commands);

/// What the shell may put at the place of the last of `words`, those behind `trxctl`, one a line:
/// commands, options, values. Nothing: a file.
std::string completionsOf(const std::vector<CommandDefinition>& commands,
                          const std::vector<std::string>& words);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMAND_LINE_HELP_TEXT_H_
