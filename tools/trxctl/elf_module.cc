// SPDX-License-Identifier: Apache-2.0
#include "trxctl/elf_module.h"

#include <fcntl.h>
#include <gelf.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <set>
#include <sstream>

#include "hap/module_key.h"
#include "kw/trx/file_path.h"

namespace kw::trx::trxctl {
namespace {

namespace fs = std::filesystem;

constexpr char kOwnFile[] = "/proc/self/exe";

/// What the dynamic section and the dynamic symbols of one ELF file say.
struct ElfFile {
  std::string problem;  ///< why it cannot be read as a shared library; empty: it can
  unsigned int machine = 0;
  int elf_class = ELFCLASSNONE;
  std::string soname;
  std::vector<std::string> needed, folders, undefined;
  std::set<std::string> defined, functions;
};

/// An open ELF file.
class ElfHandle {
 public:
  explicit ElfHandle(const std::string& path) : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    elf_version(EV_CURRENT);
    elf_ = fd_ < 0 ? nullptr : elf_begin(fd_, ELF_C_READ, nullptr);
  }
  ElfHandle(const ElfHandle&) = delete;
  ElfHandle& operator=(const ElfHandle&) = delete;
  ~ElfHandle() {
    elf_end(elf_);
    if (fd_ >= 0) {
      close(fd_);
    }
  }

  bool isOpen() const { return fd_ >= 0; }
  Elf* get() const { return elf_; }

 private:
  int fd_;
  Elf* elf_;
};

std::string textAt(Elf* elf, std::size_t section, std::size_t offset) {
  const char* text = elf_strptr(elf, section, offset);
  return text == nullptr ? std::string() : text;
}

/// Adds the folders of a search path, in which $ORIGIN stands for the folder of `file`.
void addFolders(const std::string& paths, const std::string& file,
                std::vector<std::string>& folders) {
  std::istringstream in(paths);
  for (std::string folder; std::getline(in, folder, ':');) {
    for (const std::string origin : {"$ORIGIN", "${ORIGIN}"}) {
      const std::size_t at = folder.find(origin);
      if (at != std::string::npos) {
        folder.replace(at, origin.size(), fs::absolute(file).parent_path().string());
      }
    }
    folders.push_back(folder);
  }
}

void readDynamic(Elf* elf, Elf_Data* data, std::size_t strings, const std::string& path,
                 ElfFile& file) {
  GElf_Dyn entry;
  for (int i = 0; gelf_getdyn(data, i, &entry) != nullptr && entry.d_tag != DT_NULL; ++i) {
    const std::string text = textAt(elf, strings, entry.d_un.d_val);
    if (entry.d_tag == DT_NEEDED) {
      file.needed.push_back(text);
    } else if (entry.d_tag == DT_SONAME) {
      file.soname = text;
    } else if (entry.d_tag == DT_FLAGS_1 && (entry.d_un.d_val & DF_1_PIE) != 0) {
      file.problem = "is a program, no shared library";
    } else if (entry.d_tag == DT_RPATH || entry.d_tag == DT_RUNPATH) {
      addFolders(text, path, file.folders);
    }
  }
}

void readSymbols(Elf* elf, Elf_Data* data, std::size_t strings, ElfFile& file) {
  GElf_Sym symbol;
  for (int i = 1; gelf_getsym(data, i, &symbol) != nullptr; ++i) {
    const std::string name = textAt(elf, strings, symbol.st_name);
    const int visibility = GELF_ST_VISIBILITY(symbol.st_other);
    if (symbol.st_shndx == SHN_UNDEF) {
      if (GELF_ST_BIND(symbol.st_info) == STB_GLOBAL) {
        file.undefined.push_back(name);
      }
    } else if (GELF_ST_BIND(symbol.st_info) != STB_LOCAL &&
               (visibility == STV_DEFAULT || visibility == STV_PROTECTED)) {
      file.defined.insert(name);
      if (GELF_ST_TYPE(symbol.st_info) == STT_FUNC) {
        file.functions.insert(name);
      }
    }
  }
}

/// True when a part that would be loaded, or the table of sections, lies behind the end of the
/// file.
bool isCutShort(Elf* elf) {
  std::size_t size = 0;
  std::size_t parts = 0;
  if (elf_rawfile(elf, &size) == nullptr || elf_getphdrnum(elf, &parts) != 0) {
    return true;
  }
  GElf_Phdr part;
  for (std::size_t i = 0; i < parts; ++i) {
    if (gelf_getphdr(elf, static_cast<int>(i), &part) == nullptr ||
        (part.p_type == PT_LOAD && part.p_offset + part.p_filesz > size)) {
      return true;
    }
  }
  std::size_t sections = 0;
  return elf_getshdrnum(elf, &sections) != 0 || sections == 0;
}

ElfFile readElf(const std::string& path) {
  ElfFile file;
  const ElfHandle handle(path);
  if (!handle.isOpen()) {
    file.problem = std::strerror(errno);
    return file;
  }
  GElf_Ehdr header;
  Elf* elf = handle.get();
  if (elf_kind(elf) != ELF_K_ELF || gelf_getehdr(elf, &header) == nullptr ||
      header.e_type != ET_DYN) {
    file.problem = "is no shared library";
    return file;
  }
  if (isCutShort(elf)) {
    file.problem = "is cut short: copy it again";
    return file;
  }
  file.machine = header.e_machine;
  file.elf_class = gelf_getclass(elf);
  for (Elf_Scn* section = nullptr; (section = elf_nextscn(elf, section)) != nullptr;) {
    GElf_Shdr info;
    Elf_Data* data = elf_getdata(section, nullptr);
    if (data == nullptr || gelf_getshdr(section, &info) == nullptr) {
      continue;
    }
    if (info.sh_type == SHT_DYNAMIC) {
      readDynamic(elf, data, info.sh_link, path, file);
    } else if (info.sh_type == SHT_DYNSYM) {
      readSymbols(elf, data, info.sh_link, file);
    }
  }
  return file;
}

/// Name of an architecture as people call it.
std::string architectureOf(const ElfFile& file) {
  const std::string bits = file.elf_class == ELFCLASS64 ? " (64 bit)" : " (32 bit)";
  switch (file.machine) {
    case EM_X86_64:
      return "x86-64" + bits;
    case EM_386:
      return "x86" + bits;
    case EM_ARM:
    case EM_AARCH64:
      return "ARM" + bits;
    default:
      return "machine number " + std::to_string(file.machine) + bits;
  }
}

/// The libraries that this process has loaded, as a host would have: the engine among them.
const std::vector<std::string>& loadedLibraries() {
  static const std::vector<std::string> files = [] {
    std::vector<std::string> found;
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* context) {
          const std::string name = info->dlpi_name;
          if (fs::exists(name)) {
            static_cast<std::vector<std::string>*>(context)->push_back(name);
          }
          return 0;
        },
        &found);
    return found;
  }();
  return files;
}

/// Follows the libraries that a module needs, and collects what they define.
class Resolver {
 public:
  Resolver() {
    for (const std::string& file : loadedLibraries()) {
      add(readElf(file), fs::path(file).filename());
      loaded_folders_.push_back(fs::path(file).parent_path());
    }
  }

  /// The problems of loading `file`.
  std::vector<std::string> resolve(const ElfFile& file) {
    std::vector<std::string> problems;
    std::vector<ElfFile> open = {file};
    while (!open.empty()) {
      const ElfFile user = open.back();
      open.pop_back();
      for (const std::string& name : user.needed) {
        if (names_.count(name) != 0) {
          continue;
        }
        const std::string path = find(name, user.folders, file);
        if (path.empty()) {
          problems.push_back("needs the library " + name + ", which is not found");
          names_.insert(name);
          continue;
        }
        open.push_back(readElf(path));
        add(open.back(), name);
      }
    }
    for (const std::string& symbol : file.undefined) {
      if (defined_.count(symbol) == 0) {
        problems.push_back("nothing defines the symbol " + symbol);
      }
    }
    return problems;
  }

 private:
  void add(const ElfFile& file, const std::string& name) {
    names_.insert({name, file.soname});
    defined_.insert(file.defined.begin(), file.defined.end());
  }

  std::string find(const std::string& name, std::vector<std::string> folders,
                   const ElfFile& like) const {
    const char* const extra = std::getenv("LD_LIBRARY_PATH");
    addFolders(extra == nullptr ? "" : extra, "", folders);
    folders.insert(folders.end(), loaded_folders_.begin(), loaded_folders_.end());
    folders.insert(folders.end(), {"/lib", "/usr/lib", "/usr/local/lib"});
    for (const std::string& folder : folders) {
      std::string path = folder;
      path.append("/").append(name);
      const ElfFile file = readElf(path);
      if (file.problem.empty() && file.machine == like.machine) {
        return path;
      }
    }
    return {};
  }

  std::set<std::string> names_, defined_;
  std::vector<std::string> loaded_folders_;
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
    module.problems.push_back(elf.problem);
    return module;
  }
  for (const std::string& function : elf.functions) {
    trx::FilePath key(function);
    key.eraseSeparatorBackFirstOf(trx::kKeySeparator);
    if (key.value == module.key) {
      module.haps.push_back(function);
    }
  }
  const ElfFile own = readElf(kOwnFile);
  if (elf.machine != own.machine || elf.elf_class != own.elf_class) {
    module.problems.push_back("is built for " + architectureOf(elf) + "; this system is " +
                              architectureOf(own));
    return module;
  }
  const std::vector<std::string> unresolved = Resolver().resolve(elf);
  module.problems.insert(module.problems.end(), unresolved.begin(), unresolved.end());
  return module;
}

}  // namespace kw::trx::trxctl
