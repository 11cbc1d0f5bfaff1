// SPDX-License-Identifier: Apache-2.0
// The command line of the tool: its commands, their options, its exit statuses. One thread.
#ifndef KW_TRX_TOOLS_COMMAND_LINE_COMMAND_LINE_H_
#define KW_TRX_TOOLS_COMMAND_LINE_COMMAND_LINE_H_

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace kw::trx::tools {

/// Exit statuses of the tool, the same for all commands.
constexpr int kExitOk = 0;        ///< all is well
constexpr int kExitFindings = 1;  ///< what was asked about is not so: findings, failures, changes
constexpr int kExitFailed = 2;    ///< the tool was used wrongly, or could not do it
constexpr int kExitCrashed = 3;   ///< the process of a request was taken down

/// Thrown by a command whose arguments are not understood.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The headings under which the help lists the commands.
enum class Group { kTables, kModules, kRequests, kTraces, kMachine };

/// What the help says of a command. Each text is wrapped to the width of the help.
struct CommandText {
  std::string name;
  Group group;
  std::string what;     ///< its line in the list of commands
  std::string details;  ///< further sentences
  std::string example;  ///< arguments behind "trxctl NAME"
  std::string status_0, status_1;
  std::string status_3 = {};  ///< empty: it runs no module
  /// How an argument too many was probably meant, `@` standing for it; empty: not known.
  std::string meant = {};
};

/// How an option is written and shown.
struct OptionText {
  std::string names;      ///< such as "-o,--output"; without a dash it is an argument
  std::string what;       ///< its line in the help
  std::string type = {};  ///< stands for its value in the help
  std::vector<std::string> one_of = {};  ///< the values that it takes; empty: any
  bool required = false;
  /// Returns what is wrong with a value; empty text when nothing is.
  std::function<std::string(const std::string& value)> problem = {};
};

struct CommandDefinition;

/// One command, while it is being described. The values given must live as long as the body.
class CommandOptions {
 public:
  /// `definition` gets the options too, for the helps.
  CommandOptions(CLI::App& app, CommandDefinition& definition, int& status)
      : app_(app), definition_(definition), status_(status) {}

  void flag(bool& value, const OptionText& option);
  /// The flag --json.
  void json(bool& value);
  void text(std::string& value, const OptionText& option);
  /// An option that may be repeated, or all arguments.
  void texts(std::vector<std::string>& values, const OptionText& option);
  /// A number from `min` to `max`, decimal or with 0x. The help shows `value` as the default
  /// when it is neither 0 nor `max`, which stand for none.
  void number(std::size_t& value, const OptionText& option, std::size_t min, std::size_t max);
  /// Refuses the option `name` together with any of `others`.
  void excludes(const std::string& name, const std::vector<std::string>& others);
  /// Refuses the option `name` without `other`.
  void needs(const std::string& name, const std::string& other);
  /// What the command does: returns its exit status, or throws.
  void run(const std::function<int()>& body);

 private:
  CLI::App& app_;
  CommandDefinition& definition_;
  int& status_;
};

/// A command. It registers itself with the tool: to be made once, before `main`.
class RegisteredCommand {
 public:
  using Describe = void (*)(CommandOptions& command);

  /// `describe` adds the options and the body.
  RegisteredCommand(const CommandText& text, Describe describe);
};

/// Runs the command that the arguments name. Returns the exit status of the tool.
int runCommandLine(int argc, char** argv);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMAND_LINE_COMMAND_LINE_H_
