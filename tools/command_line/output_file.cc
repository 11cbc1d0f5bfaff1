// SPDX-License-Identifier: Apache-2.0
#include "command_line/output_file.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "command_line/text_output.h"
#include "common/characters.h"
#include "common/text.h"
#include "common/whole_file.h"
#include "kw/ring_reader.h"
#include "kw/trx/file_path.h"

namespace kw::trx::tools {
namespace {

namespace fs = std::filesystem;

constexpr char kStandardOutput[] = "-";
/// So many bytes tell one kind of file from another.
constexpr std::size_t kKindBytes = 4;

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
  throw std::runtime_error(visible(path) + " " + why);
}

bool isRegularFile(const std::string& path) {
  std::error_code error;
  return fs::is_regular_file(path, error);
}

std::string extensionOf(const std::string& path) {
  trx::FilePath extension(fs::path(path).extension().string());
  extension.toLower();
  return extension.value;
}

std::string startOf(const std::string& path) {
  std::string start(kKindBytes, '\0');
  std::ifstream file(path, std::ios::binary);
  file.read(start.data(), static_cast<std::streamsize>(start.size()));
  start.resize(static_cast<std::size_t>(file.gcount()));
  return start;
}

}  // namespace

void addOutputOptions(CommandOptions& command, OutputOptions& options, const OptionText& option) {
  command.text(options.path, option);
  command.flag(options.force, {"--force", "Replace a file of another kind, too"});
}

OutputFile::OutputFile(const OutputOptions& options, const std::vector<std::string>& extensions,
                       const std::vector<std::string>& inputs)
    : options_(options) {
  const std::string& path = options.path;
  if (path.empty() || path == kStandardOutput) {
    return;
  }
  std::error_code error;
  const bool is_other = fs::exists(path, error) && !isRegularFile(path);  // a device, a pipe
  if (!is_other && std::count(extensions.begin(), extensions.end(), extensionOf(path)) == 0) {
    refuse(path, "does not end in " + listed(extensions, kAllNames, " or "));
  }
  for (const std::string& input : inputs) {
    if (fs::equivalent(path, input, error)) {
      refuse(path, "is read by this command; name another file to write");
    }
  }
  if (kw::platform::RingReader ring; isRegularFile(path) && ring.open(path) == 0) {
    refuse(path, "is a trace ring, which no command replaces; name another file to write");
  }
}

bool OutputFile::isStandardOutput() const { return options_.path == kStandardOutput; }

void OutputFile::write(const std::string& content) const {
  const std::string& path = options_.path;
  if (isStandardOutput()) {
    dataOutput() << content;
    return;
  }
  const std::string start = isRegularFile(path) ? startOf(path) : std::string();
  if (!options_.force && start != content.substr(0, start.size())) {
    refuse(path, "holds something else; add --force to replace it");
  }
  writeWhole(path, content);
}

}  // namespace kw::trx::tools
