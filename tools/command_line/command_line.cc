// SPDX-License-Identifier: Apache-2.0
#include "command_line/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "command_line/help_text.h"
#include "command_line/text_output.h"
#include "common/paths.h"
#include "common/text.h"
#include "kw/platform.h"

namespace kw::trx::tools {
namespace {

constexpr char kRootVariable[] = "TRXCTL_ROOT";
constexpr char kHelp[] = "help";
/// For shells: the words of an unfinished command line follow.
constexpr char kComplete[] = "__complete";

struct Registered {
  CommandText text;
  RegisteredCommand::Describe describe;
};

/// All commands, in the order of the names.
std::vector<Registered>& registered() {
  static std::vector<Registered> commands;
  return commands;
}

bool isDirectory(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_directory(path, error);
}

std::string rootProblem(const std::string& dir) {
  return isDirectory(dir) ? "" : "there is no folder '" + dir + "'";
}

void addRoot(CLI::App& app) {
  app.add_option_function<std::string>(
         "--root", [](const std::string& dir) { kw::platform::setSystemRoot(absolutePath(dir)); })
      ->check(CLI::Validator([](const std::string& dir) { return rootProblem(dir); }, ""))
      ->trigger_on_parse();
}

std::string numberProblem(const std::string& text, std::size_t min, std::size_t max) {
  const std::optional<std::uint32_t> number = wordNumber(text);
  if (!number) {
    return "'" + text + "' is no number; write it as 3300 or 0xce4";
  }
  return *number >= min && *number <= max ? ""
                                          : "'" + text + "' is not between " + std::to_string(min) +
                                                " and " + std::to_string(max);
}

void describe(CLI::Option* added, const OptionText& option) {
  added->required(option.required);
  if (!option.one_of.empty()) {
    added->check(CLI::IsMember(option.one_of));
  }
  if (option.problem) {
    added->check(CLI::Validator(
        [problem = option.problem](const std::string& value) { return problem(value); }, ""));
  }
}

/// The command line as a whole.
class CommandLine {
 public:
  CommandLine() : app_("", "trxctl") {
    app_.require_subcommand(1);
    app_.set_version_flag("--version", "trxctl " ZQM_TRX_VERSION);
    addRoot(app_);
    std::vector<Registered>& commands = registered();
    std::sort(commands.begin(), commands.end(),
              [](const Registered& a, const Registered& b) { return a.text.name < b.text.name; });
    for (const Registered& command : commands) {
      definitions_.push_back({command.text, {}});
      CLI::App* app = app_.add_subcommand(command.text.name);
      addRoot(*app);
      CommandOptions options(*app, definitions_.back(), status_);
      command.describe(options);
      definitions_.back().options.push_back(
          {{"--root", "The system root: the folder that the files of a board lie in", "DIR"}});
    }
  }

  int run(std::vector<std::string> arguments);

 private:
  int show(const std::string& text) {
    std::cout << text;
    return flushed(kExitOk);
  }
  int help();
  int parse(std::vector<std::string> arguments);
  std::string messageFor(const std::string& first, const CLI::Error& error);

  CLI::App app_;
  std::vector<CommandDefinition> definitions_;
  int status_ = kExitOk;
};

int CommandLine::help() {
  const std::vector<CLI::App*> named = app_.get_subcommands();
  for (const CommandDefinition& command : definitions_) {
    if (!named.empty() && command.text.name == named[0]->get_name()) {
      return show(helpOf(command));
    }
  }
  return show(helpOf(definitions_));
}

/// What is wrong with a command line that was not understood, whose first argument is `first`.
std::string CommandLine::messageFor(const std::string& first, const CLI::Error& error) {
  const std::vector<CLI::App*> named = app_.get_subcommands();
  std::vector<std::string> names;
  const CommandDefinition* command = nullptr;
  for (const CommandDefinition& one : definitions_) {
    names.push_back(one.text.name);
    command = !named.empty() && one.text.name == named[0]->get_name() ? &one : command;
  }
  if (command == nullptr && first[0] != '-') {
    return "'" + first + "' is no command" + didYouMean(first, names);
  }
  // An unknown option is the reason when arguments seem to be missing as well.
  for (const std::string& word : app_.remaining(true)) {
    if (word.size() > 1 && word[0] == '-') {
      return command == nullptr
                 ? "'" + word +
                       "' is no option of trxctl itself; write those of a command behind "
                       "its name"
                 : "'" + word + "' is no option of trxctl " + command->text.name +
                       didYouMean(word.substr(0, word.find('=')), optionNamesOf(*command));
    }
  }
  if (const std::vector<std::string> more = app_.remaining(true);
      command != nullptr && !more.empty()) {
    std::string meant = command->text.meant;
    if (const std::size_t at = meant.find('@'); at != std::string::npos) {
      meant.replace(at, 1, more[0]);
    }
    return "'" + more[0] + "' is one argument too many for trxctl " + command->text.name +
           (meant.empty() ? "" : "; " + meant);
  }
  return error.what();
}

int CommandLine::parse(std::vector<std::string> arguments) {
  const std::string first = arguments[0];
  std::reverse(arguments.begin(), arguments.end());  // as CLI11 takes them
  try {
    app_.parse(std::move(arguments));
  } catch (const CLI::CallForHelp&) {
    return help();
  } catch (const CLI::CallForVersion& version) {
    return show(std::string(version.what()) + '\n');
  } catch (const CLI::ParseError& error) {
    const std::vector<CLI::App*> named = app_.get_subcommands();
    return fail(messageFor(first, error) + "\nFor help: trxctl help" +
                (named.empty() ? "" : ' ' + named[0]->get_name()));
  } catch (const std::exception& exception) {
    return fail(exception.what());
  }
  return flushed(status_);
}

int CommandLine::run(std::vector<std::string> arguments) {
  if (arguments.empty()) {
    return show(helpOf(definitions_));
  }
  if (arguments[0] == kComplete) {
    arguments.erase(arguments.begin());
    return arguments.empty() ? kExitOk : show(completionsOf(definitions_, arguments));
  }
  if (arguments[0] == kHelp) {
    arguments.erase(arguments.begin());
    arguments.emplace_back("--help");
  }
  const char* const root = std::getenv(kRootVariable);
  if (root != nullptr && *root != '\0') {
    if (!isDirectory(root)) {
      return fail(std::string(kRootVariable) + ": " + rootProblem(root));
    }
    kw::platform::setSystemRoot(absolutePath(root));
  }
  return parse(std::move(arguments));
}

}  // namespace

void CommandOptions::flag(bool& value, const OptionText& option) {
  app_.add_flag(option.names, value);
  definition_.options.push_back({option, true});
}

void CommandOptions::json(bool& value) { flag(value, {"--json", "Print JSON"}); }

void CommandOptions::text(std::string& value, const OptionText& option) {
  describe(app_.add_option(option.names, value), option);
  definition_.options.push_back({option, false, false, value});
}

void CommandOptions::texts(std::vector<std::string>& values, const OptionText& option) {
  CLI::Option* added = app_.add_option(option.names, values);
  describe(added, option);
  if (option.names[0] == '-') {
    added->allow_extra_args(false);
  }
  definition_.options.push_back({option, false, true});
}

void CommandOptions::number(std::size_t& value, const OptionText& option, std::size_t min,
                            std::size_t max) {
  CLI::Option* added = app_.add_option_function<std::string>(
      option.names, [&value](const std::string& text) { value = wordNumber(text).value_or(0); });
  describe(added, option);
  added->check(CLI::Validator(
      [min, max](const std::string& text) { return numberProblem(text, min, max); }, ""));
  definition_.options.push_back(
      {option, false, false, value == 0 || value == max ? std::string() : std::to_string(value)});
}

void CommandOptions::excludes(const std::string& name, const std::vector<std::string>& others) {
  for (const std::string& other : others) {
    app_.get_option(name)->excludes(app_.get_option(other));
  }
}

void CommandOptions::needs(const std::string& name, const std::string& other) {
  app_.get_option(name)->needs(app_.get_option(other));
}

void CommandOptions::run(const std::function<int()>& body) {
  app_.callback([body, &status = status_] {
    try {
      status = body();
    } catch (const UsageError& error) {
      throw CLI::ValidationError(error.what());
    }
  });
}

RegisteredCommand::RegisteredCommand(const CommandText& text, Describe describe) {
  registered().push_back({text, describe});
}

int runCommandLine(int argc, char** argv) {
  CommandLine line;
  return line.run({argv + std::min(argc, 1), argv + argc});
}

}  // namespace kw::trx::tools
