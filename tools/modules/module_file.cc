// SPDX-License-Identifier: Apache-2.0
#include "modules/module_file.h"

#include <initializer_list>
#include <map>
#include <set>
#include <string_view>

#include "common/paths.h"
#include "kw/trx/file_path.h"
#include "modules/elf_file.h"
#include "modules/loader.h"
#include "zqm_trx/module_key.h"

namespace kw::trx::tools {
namespace {

/// What every platform library defines.
constexpr char kOfPlatform[] = "kw_trace_write";

/// Follows the libraries that a module needs, and collects what they define.
class Resolver {
 public:
  /// One that has what a host has loaded which needs the engine alone. This process is no such
  /// host: it has libraries of its own.
  static Resolver ofHost() {
    Resolver host;
    ElfFile program;
    program.has_sections = true;
    program.needed = {ZQM_TRX_ENGINE};
    host.follow(program, findLoaded);
    host.users_.clear();
    host.problems_.clear();
    host.other_platform_.clear();
    return host;
  }

  /// The problems of loading `module`.
  std::vector<std::string> resolve(const ElfFile& module) {
    follow(module, findLibrary);
    for (const auto& [prefix, user] : users_) {
      checkVersions(prefix, user);
      for (const std::string& symbol : user.undefined) {
        if (knows_all_ && defined_.count(symbol) == 0) {
          note({prefix, "nothing defines the symbol ", symbol});
        }
      }
    }
    return problems_;
  }

  /// The file of a platform library that was found besides that of the host; empty: there is none.
  const std::string& otherPlatform() const { return other_platform_; }

 private:
  /// Takes `first` and all libraries that it and they need.
  template <typename Find>
  void follow(const ElfFile& first, const Find& find) {
    take("", "", first);
    for (std::size_t i = users_.size() - 1; i < users_.size(); ++i) {
      const auto [prefix, user] = users_[i];
      for (const std::string& name : user.needed) {
        if (versions_.count(name) != 0) {
          continue;
        }
        const std::string path = find(name, user);
        if (path.empty()) {
          note({prefix, "needs the library ", name, ", which is not found"});
          versions_[name];
          knows_all_ = false;
          continue;
        }
        ElfFile library = readElf(path);
        library.rpath.insert(library.rpath.end(), user.rpath.begin(), user.rpath.end());
        take(name, name + ": ", library);
        if (library.functions.count(kOfPlatform) != 0) {
          other_platform_ = path;
        }
      }
    }
  }

  void take(const std::string& name, const std::string& prefix, const ElfFile& file) {
    versions_[name] = file.versions;
    versions_[file.soname] = file.versions;
    defined_.insert(file.defined.begin(), file.defined.end());
    knows_all_ = knows_all_ && file.has_sections;
    users_.emplace_back(prefix, file);
  }

  /// A library without any versions is taken as it is.
  void checkVersions(const std::string& prefix, const ElfFile& user) {
    for (const auto& [library, versions] : user.needed_versions) {
      const auto found = versions_.find(library);
      for (const std::string& version : versions) {
        if (found != versions_.end() && !found->second.empty() &&
            found->second.count(version) == 0) {
          note({prefix, "needs version ", version, " of the library ", library,
                ", which has it not"});
        }
      }
    }
  }

  void note(std::initializer_list<std::string_view> parts) {
    std::string& problem = problems_.emplace_back();
    for (const std::string_view part : parts) {
      problem.append(part);
    }
  }

  std::vector<std::pair<std::string, ElfFile>> users_;  ///< each with what its problems begin with
  std::map<std::string, std::set<std::string>> versions_;  ///< by each name of a library
  std::set<std::string> defined_;
  bool knows_all_ = true;
  std::string other_platform_;
  std::vector<std::string> problems_;
};

}  // namespace

ModuleFile inspectModule(const std::string& file) {
  ModuleFile module;
  trx::FilePath name(file);
  name.erasePath();
  module.key = trx::moduleKey(name.value);
  module.is_debug = trx::isDebugModule(module.key);
  if (module.key.empty()) {
    module.problems.push_back("its name gives no module key");
  }
  const ElfFile elf = readElf("/" + file);
  if (!elf.problem.empty()) {
    module.problems.push_back(elf.problem +
                              nearFileHint(file[0] == '/' ? file : "/" + file, trx::kModulePrefix));
    return module;
  }
  for (const std::string& function : elf.functions) {
    trx::FilePath key(function);
    key.eraseSeparatorBackFirstOf(trx::kKeySeparator);
    if (key.value == module.key) {
      module.haps.push_back(function);
    } else if (!key.value.empty() && key.value != function) {
      module.others.push_back(function);
    }
  }
  module.descriptions = descriptionsFrom(elf.descriptions, module.unreadable);
  const ElfFile own = readElf(kOwnFile);
  if (elf.machine != own.machine || elf.elf_class != own.elf_class) {
    module.problems.push_back("is built for " + architectureOf(elf) + "; this system is " +
                              architectureOf(own));
    return module;
  }
  module.has_sections = elf.has_sections;
  static const Resolver host = Resolver::ofHost();
  Resolver resolver(host);
  const std::vector<std::string> unresolved = resolver.resolve(elf);
  module.other_platform = resolver.otherPlatform();
  module.problems.insert(module.problems.end(), unresolved.begin(), unresolved.end());
  return module;
}

}  // namespace kw::trx::tools
