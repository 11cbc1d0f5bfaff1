// SPDX-License-Identifier: Apache-2.0
#include "command_line/help_text.h"

#include <algorithm>
#include <iterator>

#include "common/text.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kIndent = 2;
constexpr std::size_t kTextColumn = 26;
constexpr std::size_t kCommandColumn = 12;  // where the text of a command starts

constexpr const char* kGroupNames[] = {"Tables", "Modules", "Requests", "Traces", "Machine"};

/// A line of a list: a name, and its text in the column beside it.
void addItem(const std::string& name, const std::string& text, std::string& help,
             std::size_t text_column = kTextColumn) {
  help.append(kIndent, ' ').append(name);
  std::size_t column = kIndent + name.size();
  if (column + kIndent > text_column) {
    help += '\n';
    column = 0;
  }
  help.append(text_column - column, ' ');
  help.append(wrapped(text, text_column, text_column)).append("\n");
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    text.append(text.empty() ? "" : "|").append(word);
  }
  return text;
}

std::string nameOf(const OptionDefinition& option) {
  std::string name;
  for (const std::string& part : partsOf(option.text.names, ',')) {
    name.append(name.empty() ? "" : ", ").append(part);
  }
  if (option.isArgument()) {
    return name + (option.may_repeat ? "..." : "");
  }
  const std::string type = !option.text.type.empty()     ? option.text.type
                           : !option.text.one_of.empty() ? joined(option.text.one_of)
                                                         : "TEXT";
  return option.is_flag ? name : name + ' ' + type;
}

std::string textOf(const OptionDefinition& option) {
  std::string text = option.text.what;
  if (!option.text.one_of.empty() && !option.text.type.empty()) {
    text += ": " + listed(option.text.one_of, kAllNames, " or ");
  }
  text += option.may_repeat && !option.isArgument() ? "; may be repeated" : "";
  return text + (option.default_value.empty() ? "" : " (default " + option.default_value + ")");
}

std::string usageOf(const CommandDefinition& command) {
  std::string usage = "Usage: trxctl " + command.text.name + " [OPTION...]";
  for (const OptionDefinition& option : command.options) {
    if (option.isArgument()) {
      const std::string name = nameOf(option);
      usage += option.text.required ? ' ' + name : " [" + name + ']';
    }
  }
  return usage + '\n';
}

void addOptions(const CommandDefinition& command, bool arguments, std::string& help) {
  bool has_heading = false;
  for (const OptionDefinition& option : command.options) {
    if (option.isArgument() == arguments) {
      help += has_heading ? "" : arguments ? "\nArguments:\n" : "\nOptions:\n";
      has_heading = true;
      addItem(nameOf(option), textOf(option), help);
    }
  }
}

std::string statusesOf(const CommandText& text) {
  return "Exit status: 0 " + text.status_0 + (text.status_1.empty() ? "" : "; 1 " + text.status_1) +
         "; 2 it was used wrongly, or could not do it" +
         (text.status_3.empty() ? "" : "; 3 " + text.status_3) + '.';
}

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

/// The option that `word` names.
const OptionDefinition* optionNamed(const CommandDefinition& command, const std::string& word) {
  const auto found = std::find_if(
      command.options.begin(), command.options.end(), [&word](const OptionDefinition& option) {
        const std::vector<std::string> names = partsOf(option.text.names, ',');
        return std::find(names.begin(), names.end(), word) != names.end();
      });
  return found == command.options.end() ? nullptr : &*found;
}

std::vector<std::string> valuesFor(const CommandDefinition& command,
                                   const std::vector<std::string>& words) {
  const std::string& last = words.back();
  if (startsWith(last, "-")) {
    return optionNamesOf(command);
  }
  const OptionDefinition* option =
      words.size() > 1 ? optionNamed(command, words[words.size() - 2]) : nullptr;
  return option == nullptr || option->is_flag ? std::vector<std::string>() : option->text.one_of;
}

}  // namespace

std::vector<std::string> optionNamesOf(const CommandDefinition& command) {
  std::vector<std::string> names = {"--help"};
  for (const OptionDefinition& option : command.options) {
    if (!option.isArgument()) {
      names.push_back(partsOf(option.text.names, ',').back());
    }
  }
  return names;
}

std::string helpOf(const CommandDefinition& command) {
  std::string help = usageOf(command) + '\n';
  help.append(wrapped(command.text.what + '.', 0, 0)).append("\n");
  if (!command.text.details.empty()) {
    help.append("\n").append(wrapped(command.text.details, 0, 0)).append("\n");
  }
  addOptions(command, true, help);
  addOptions(command, false, help);
  help += "\nExample: trxctl " + command.text.name + ' ' + command.text.example + "\n\n";
  return help.append(wrapped(statusesOf(command.text), 0, 0)).append("\n");
}

std::string helpOf(const std::vector<CommandDefinition>& commands) {
  std::string help =
      "Usage: trxctl [--root DIR] COMMAND [ARGUMENT...]\n\n"
      "Checks, shows and runs what the HAP engine loads, and tells what it did.\n";
  for (std::size_t group = 0; group < std::size(kGroupNames); ++group) {
    help.append("\n").append(kGroupNames[group]).append(":\n");
    for (const CommandDefinition& command : commands) {
      if (static_cast<std::size_t>(command.text.group) == group) {
        addItem(command.text.name, command.text.what, help, kCommandColumn);
      }
    }
  }
  help += "\nOptions:\n";
  addItem("--root DIR",
          "The system root: the folder that the files of a board lie in. Without it the "
          "environment variable TRXCTL_ROOT, else this system.",
          help);
  addItem("--version", "Print the version.", help);
  return help +
         "\nHelp of a command: trxctl help COMMAND\n\n"
         "Exit status of each command: 0 all is well; 1 what was asked about is not so:\n"
         "findings, failures, changes; 2 it was used wrongly, or could not do it; 3 a\n"
         "HAP took its process down.\n";
}

std::string completionsOf(const std::vector<CommandDefinition>& commands,
                          const std::vector<std::string>& words) {
  std::vector<std::string> offered;
  const auto command =
      std::find_if(commands.begin(), commands.end(), [&words](const CommandDefinition& one) {
        return std::find(words.begin(), words.end() - 1, one.text.name) != words.end() - 1;
      });
  if (command != commands.end()) {
    offered = valuesFor(*command, words);
  } else if (startsWith(words.back(), "-")) {
    offered = {"--help", "--root", "--version"};
  } else {
    offered.reserve(commands.size() + 1);
    for (const CommandDefinition& one : commands) {
      offered.push_back(one.text.name);
    }
    offered.emplace_back("help");
  }
  std::string lines;
  for (const std::string& word : offered) {
    lines += startsWith(word, words.back()) ? word + '\n' : "";
  }
  return lines;
}

}  // namespace kw::trx::tools
