// SPDX-License-Identifier: Apache-2.0
// The command line of the tool: its commands, their options, its exit statuses. One thread.
#ifndef KW_TRX_TOOLS_COMMAND_LINE_COMMAND_LINE_H_
#define KW_TRX_TOOLS_COMMAND_LINE_COMMAND_LINE_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace kw::trx::tools {

/// Exit statuses of the tool.
constexpr int kExitOk = 0;
constexpr int kExitFindings = 1;  ///< warnings with --strict, or a request that failed
constexpr int kExitFailed = 2;    ///< errors found, or the command could not be carried out
constexpr int kExitCrashed = 3;   ///< the process of a request was taken down

/// Thrown by a command whose words are not understood.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// How an option is written and shown.
struct OptionText {
  std::string names;      ///< such as "-o,--output"; without a dash it is a word of the command
  std::string what;       ///< its line in the help
  std::string type = {};  ///< stands for its value in the help
  std::vector<std::string> one_of = {};  ///< the values that it takes; empty: any
  bool required = false;
  /// Tells what is wrong with a value; empty text when nothing is.
  std::function<std::string(const std::string& value)> problem = {};
};

/// One command, while it is being described. The values given must live as long as the body.
class CommandOptions {
 public:
  CommandOptions(CLI::App& app, int& status) : app_(app), status_(status) {}

  void flag(bool& value, const OptionText& option);
  void text(std::string& value, const OptionText& option);
  /// An option that may be repeated, or all words behind the command.
  void texts(std::vector<std::string>& values, const OptionText& option);
  /// A number from `least` to `most`.
  void number(std::size_t& value, const OptionText& option, std::size_t least, std::size_t most);
  /// Refuses the option `name` together with any of `others`.
  void excludes(const std::string& name, const std::vector<std::string>& others);
  /// Refuses the option `name` without `other`.
  void needs(const std::string& name, const std::string& other);
  /// What the command does: returns its exit status, or throws.
  void run(const std::function<int()>& body);

 private:
  CLI::App& app_;
  int& status_;
};

/// The command line as a whole.
class CommandLine {
 public:
  CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;
  ~CommandLine();

  /// Adds a command with the option --root, which takes effect as soon as it is read; `footer` is
  /// the end of its help.
  CommandOptions add(const std::string& name, const std::string& what, const std::string& footer);

  /// Runs the command that the words name. Returns the exit status of the tool.
  int run(int argc, char** argv);

 private:
  std::unique_ptr<CLI::App> app_;
  int status_ = kExitOk;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMAND_LINE_COMMAND_LINE_H_
