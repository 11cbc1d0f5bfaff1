// SPDX-License-Identifier: Apache-2.0
#include "engine/recording.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "common/text.h"
#include "modules/elf_file.h"

namespace kw::trx::tools {
namespace {

namespace fs = std::filesystem;

/// The recorder in the tool's own folder.
fs::path recorderFile() {
  std::error_code error;
  return (fs::read_symlink("/proc/self/exe", error).parent_path() / ZQM_TRX_RECORDER)
      .lexically_normal();
}

bool isProgram(const std::string& path) {
  std::error_code error;
  return fs::is_regular_file(path, error) && access(path.c_str(), X_OK) == 0;
}

bool changesUser(const std::string& program) {
  struct stat status {};
  return stat(program.c_str(), &status) == 0 &&
         (((status.st_mode & S_ISUID) != 0 && status.st_uid != geteuid()) ||
          ((status.st_mode & S_ISGID) != 0 && status.st_gid != getegid()));
}

void putBefore(const char* variable, const std::string& value) {
  const char* const former = std::getenv(variable);
  const bool is_set = former != nullptr && *former != '\0';
  setenv(variable, (is_set ? value + ":" + former : value).c_str(), 1);
}

/// LD_PRELOAD ends a path at a blank; the path of a folder to search in may have one.
void preload(const fs::path& recorder) {
  const bool has_blank = recorder.string().find(' ') != std::string::npos;
  putBefore("LD_PRELOAD", has_blank ? recorder.filename() : recorder);
  if (has_blank) {
    putBefore("LD_LIBRARY_PATH", recorder.parent_path());
  }
}

}  // namespace

std::string programOf(const std::string& name) {
  if (name.find('/') != std::string::npos) {
    return isProgram(name) ? name : "";
  }
  const char* const path = std::getenv("PATH");
  for (const std::string& folder : partsOf(path == nullptr ? "/usr/bin:/bin" : path, ':')) {
    std::string program = (folder.empty() ? "." : folder) + "/" + name;
    if (isProgram(program)) {
      return program;
    }
  }
  return {};
}

std::string preloadProblem(const std::string& program) {
  const ProgramFile file = readProgram(program);
  if (!file.problem.empty()) {
    return {};
  }
  const ElfFile recorder = readElf(recorderFile());
  if (!recorder.problem.empty()) {
    return recorderFile().string() + ": " + recorder.problem;
  }
  const bool is_same_machine =
      file.machine == recorder.machine && file.elf_class == recorder.elf_class;
  // An emulator hands its environment on to the program that it runs. So is this tool then.
  if (fs::path(program).filename().string().rfind("qemu-", 0) == 0) {
    return is_same_machine ? "runs programs of another machine: take the tool for that machine"
                           : "";
  }
  if (!is_same_machine) {
    return "is a program for " + architectureOf(file) + ", the recorder of this tool one for " +
           architectureOf(recorder);
  }
  if (!file.has_interpreter) {
    return "is linked statically: no recorder can be preloaded";
  }
  if (file.defined.count("kw_trace_write") != 0) {
    return "defines kw_trace_write itself: the recorder would see no record";
  }
  return changesUser(program) ? "changes its user or group: no recorder can be preloaded" : "";
}

std::string becomeRecorded(const Recording& recording, const std::vector<std::string>& host) {
  const fs::path recorder = recorderFile();
  if (recorder.string().find(':') != std::string::npos) {
    return recorder.string() + ": a path with a colon cannot be preloaded";
  }
  preload(recorder);
  setenv("ZQM_TRX_RECORD_FILE", recording.file.c_str(), 1);
  setenv("ZQM_TRX_RECORD_SIZE", std::to_string(recording.records).c_str(), 1);
  setenv("ZQM_TRX_RECORD_LEVEL", recording.level.c_str(), 1);
  std::vector<char*> words;
  words.reserve(host.size() + 1);
  for (const std::string& word : host) {
    words.push_back(const_cast<char*>(word.c_str()));
  }
  words.push_back(nullptr);
  execvp(words[0], words.data());
  return host[0] + ": " + std::strerror(errno);
}

}  // namespace kw::trx::tools
