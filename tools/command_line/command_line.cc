// SPDX-License-Identifier: Apache-2.0
#include "command_line/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "command_line/text_output.h"
#include "common/paths.h"
#include "common/text.h"
#include "kw/platform.h"

namespace kw::trx::tools {
namespace {

/// What is wrong with a command line that was not understood, whose first word is `first`.
std::string wordsFor(const CLI::App& app, const std::string& first, const CLI::Error& error) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands(nullptr)) {
    names.push_back(command->get_name());
  }
  if (first[0] != '-' && std::find(names.begin(), names.end(), first) == names.end()) {
    return "'" + first + "' is no command" + didYouMean(first, names);
  }
  // An unknown option is the reason when words seem to be missing as well.
  for (const std::string& word : app.remaining(true)) {
    if (word.size() > 1 && word[0] == '-') {
      return "'" + word + "' is no option " +
             (first[0] == '-' ? "of trxctl itself; write those of a command behind its name"
                              : "of trxctl " + first);
    }
  }
  return error.what();
}

void describe(CLI::Option* added, const OptionText& option) {
  added->required(option.required);
  if (!option.type.empty()) {
    added->type_name(option.type);
  }
  if (!option.one_of.empty()) {
    added->check(CLI::IsMember(option.one_of));
  }
  if (option.problem) {
    added->check(CLI::Validator(
        [problem = option.problem](const std::string& value) { return problem(value); }, ""));
  }
}

}  // namespace

void CommandOptions::flag(bool& value, const OptionText& option) {
  app_.add_flag(option.names, value, option.what);
}

void CommandOptions::text(std::string& value, const OptionText& option) {
  CLI::Option* added = app_.add_option(option.names, value, option.what);
  describe(added, option);
  added->capture_default_str();
}

void CommandOptions::texts(std::vector<std::string>& values, const OptionText& option) {
  CLI::Option* added = app_.add_option(option.names, values, option.what);
  describe(added, option);
  if (option.names[0] == '-') {
    added->allow_extra_args(false);
  }
}

void CommandOptions::number(std::size_t& value, const OptionText& option, std::size_t least,
                            std::size_t most) {
  CLI::Option* added = app_.add_option(option.names, value, option.what);
  describe(added, option);
  added->check(CLI::Range(least, most));
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

CommandLine::CommandLine()
    : app_(std::make_unique<CLI::App>(
          "Checks, shows and runs what the HAP engine loads, and tells what it did.", "trxctl")) {
  app_->require_subcommand(1);
  app_->set_version_flag("--version", ZQM_TRX_VERSION, "Print the version and exit");
  app_->footer(
      "Each command has a help of its own: trxctl COMMAND --help\n"
      "Exit status: 0 all is well; 1 warnings with --strict, or a request that failed;\n"
      "2 errors found, or the command could not be carried out; 3 a HAP crashed.");
}

CommandLine::~CommandLine() = default;

CommandOptions CommandLine::add(const std::string& name, const std::string& what,
                                const std::string& footer) {
  CLI::App* command = app_->add_subcommand(name, what);
  command
      ->add_option_function<std::string>(
          "--root", [](const std::string& dir) { kw::platform::setSystemRoot(absolutePath(dir)); },
          "The folder that the platform's own files, those below /kw/, lie in")
      ->type_name("DIR")
      ->check(CLI::Validator(CLI::ExistingDirectory).description(""))
      ->trigger_on_parse();
  command->footer(footer);
  return {*command, status_};
}

int CommandLine::run(int argc, char** argv) {
  try {
    app_->parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      status_ = app_->exit(error);
      return flushed(status_);
    }
    return fail(wordsFor(*app_, argc > 1 ? argv[1] : "-", error) +
                "\nRun with --help for more information.");
  } catch (const std::exception& exception) {
    return fail(exception.what());
  }
  return flushed(status_);
}

}  // namespace kw::trx::tools
