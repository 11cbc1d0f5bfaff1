// SPDX-License-Identifier: Apache-2.0
#include "modules/loader.h"

#include <glob.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <vector>

namespace kw::trx::tools {
namespace {

namespace fs = std::filesystem;

constexpr char kLoaderConf[] = "/etc/ld.so.conf";

/// The files that an include line of the loader's configuration `file` names.
std::vector<std::string> filesOf(const std::string& pattern, const std::string& file) {
  glob_t found = {};
  const fs::path path = fs::path(file).parent_path() / pattern;
  std::vector<std::string> files;
  if (glob(path.c_str(), 0, nullptr, &found) == 0) {
    files.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
  }
  globfree(&found);
  return files;
}

/// The folders that the loader looks into for every library. They are read from the text that its
/// cache is made of.
std::vector<std::string> systemFolders() {
  std::vector<std::string> folders;
  std::vector<std::string> files = {kLoaderConf};
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::string file = files[i];
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
      std::istringstream words(line.substr(0, line.find('#')));
      std::string word;
      if (words >> word && word != "include") {
        folders.push_back(word);
        continue;
      }
      while (words >> word) {
        for (const std::string& included : filesOf(word, file)) {
          if (std::find(files.begin(), files.end(), included) == files.end()) {
            files.push_back(included);
          }
        }
      }
    }
  }
  folders.insert(folders.end(), {"/lib64", "/usr/lib64", "/lib", "/usr/lib"});
  return folders;
}

}  // namespace

std::string findLibrary(const std::string& name, const ElfFile& user) {
  static const std::vector<std::string> system = systemFolders();
  std::vector<std::string> folders = user.runpath.empty() ? user.rpath : std::vector<std::string>();
  const char* const extra = std::getenv("LD_LIBRARY_PATH");
  addFolders(extra == nullptr ? "" : extra, fs::read_symlink(kOwnFile), folders);
  folders.insert(folders.end(), user.runpath.begin(), user.runpath.end());
  folders.insert(folders.end(), system.begin(), system.end());
  if (name.find('/') != std::string::npos) {
    folders = {""};
  }
  for (const std::string& folder : folders) {
    std::string path = fs::path(folder) / name;
    const ElfFile file = readElf(path);
    if (file.problem.empty() && file.machine == user.machine && file.elf_class == user.elf_class) {
      return path;
    }
  }
  return {};
}

std::string findLoaded(const std::string& name, const ElfFile& /*user*/) {
  static const std::map<std::string, std::string> paths = [] {
    std::map<std::string, std::string> found;
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* context) {
          const fs::path path = info->dlpi_name;
          if (access(path.c_str(), F_OK) == 0) {  // which an emulator looks up as the loader did
            static_cast<std::map<std::string, std::string>*>(context)->emplace(path.filename(),
                                                                               path);
          }
          return 0;
        },
        &found);
    return found;
  }();
  const auto found = paths.find(name);
  return found == paths.end() ? std::string() : found->second;
}

}  // namespace kw::trx::tools
