// SPDX-License-Identifier: Apache-2.0
#include "modules/elf_file.h"

#include <fcntl.h>
#include <gelf.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "zqm_trx/file_limits.h"

namespace kw::trx::tools {
namespace {

namespace fs = std::filesystem;

/// Where the macros of hap_description.h put their records.
constexpr char kDescriptionSection[] = ".zqm_haps";

/// An open ELF file.
class ElfHandle {
 public:
  /// Does not wait for the writer of a pipe.
  explicit ElfHandle(const std::string& path) {
    if (stat(path.c_str(), &status_) == 0 && !S_ISREG(status_.st_mode)) {
      problem_ = trx::kNotRegularWords;  // to open a device may do something
      return;
    }
    fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd_ < 0 || fstat(fd_, &status_) != 0) {
      problem_ = std::strerror(errno);
      return;
    }
    elf_version(EV_CURRENT);
    elf_ = elf_begin(fd_, ELF_C_READ, nullptr);
  }
  ElfHandle(const ElfHandle&) = delete;
  ElfHandle& operator=(const ElfHandle&) = delete;
  ~ElfHandle() {
    elf_end(elf_);
    if (fd_ >= 0) {
      close(fd_);
    }
  }

  /// Why the file is not read; empty when it is.
  const std::string& problem() const { return problem_; }
  Elf* get() const { return elf_; }
  unsigned long long size() const { return static_cast<unsigned long long>(status_.st_size); }

 private:
  int fd_ = -1;
  struct stat status_ = {};
  std::string problem_;
  Elf* elf_ = nullptr;
};

/// The texts of a file. Its entries may share them, and stand inside one another, so that a small
/// file can name more than memory holds: beyond what any library names there is none.
class Texts {
 public:
  explicit Texts(Elf* elf) : elf_(elf) {}

  /// Offsets have 64 bits in files of any machine; there is no text where none can be addressed
  /// here.
  std::string at(std::size_t section, std::uint64_t offset) {
    const auto place = static_cast<std::size_t>(offset);
    const char* text = place == offset && hasRoom() ? elf_strptr(elf_, section, place) : nullptr;
    std::string found = text == nullptr ? std::string() : text;
    bytes_ += found.size() + 1;
    return found;
  }

  bool hasRoom() const { return bytes_ < kMaxBytes; }

 private:
  static constexpr std::size_t kMaxBytes = 64000000;

  Elf* const elf_;
  std::size_t bytes_ = 0;
};

void readDynamic(Texts& texts, Elf_Data* data, std::size_t strings, const std::string& path,
                 ElfFile& file) {
  GElf_Dyn entry;
  for (int i = 0;
       texts.hasRoom() && gelf_getdyn(data, i, &entry) != nullptr && entry.d_tag != DT_NULL; ++i) {
    const std::string text = texts.at(strings, entry.d_un.d_val);
    if (entry.d_tag == DT_NEEDED) {
      file.needed.push_back(text);
    } else if (entry.d_tag == DT_SONAME) {
      file.soname = text;
    } else if (entry.d_tag == DT_FLAGS_1 && (entry.d_un.d_val & DF_1_PIE) != 0) {
      file.problem = "is a program, no shared library";
    } else if (entry.d_tag == DT_RPATH || entry.d_tag == DT_RUNPATH) {
      addFolders(text, path, entry.d_tag == DT_RPATH ? file.rpath : file.runpath);
    }
  }
  if (!file.runpath.empty()) {
    file.rpath.clear();  // the loader looks at the newer kind alone
  }
}

void readSymbols(Texts& texts, Elf_Data* data, std::size_t strings, ElfFile& file) {
  GElf_Sym symbol;
  for (int i = 1; texts.hasRoom() && gelf_getsym(data, i, &symbol) != nullptr; ++i) {
    const std::string name = texts.at(strings, symbol.st_name);
    const int visibility = GELF_ST_VISIBILITY(symbol.st_other);
    if (symbol.st_shndx == SHN_UNDEF) {
      if (GELF_ST_BIND(symbol.st_info) == STB_GLOBAL) {
        file.undefined.push_back(name);
      }
    } else if (GELF_ST_BIND(symbol.st_info) != STB_LOCAL &&
               (visibility == STV_DEFAULT || visibility == STV_PROTECTED)) {
      file.defined.insert(name);
      const int type = GELF_ST_TYPE(symbol.st_info);
      if (type == STT_FUNC || type == STT_GNU_IFUNC) {
        file.functions.insert(name);
      }
    }
  }
}

/// Names the versions that the loader insists on, of each library.
void readNeededVersions(Texts& texts, Elf_Data* data, std::size_t strings, ElfFile& file) {
  GElf_Verneed library;
  std::uint64_t at = 0;
  while (texts.hasRoom() && at < data->d_size &&
         gelf_getverneed(data, static_cast<int>(at), &library) != nullptr) {
    GElf_Vernaux version;
    std::uint64_t next = at + library.vn_aux;
    while (texts.hasRoom() && next < data->d_size &&
           gelf_getvernaux(data, static_cast<int>(next), &version) != nullptr) {
      const std::string name = texts.at(strings, version.vna_name);
      if ((version.vna_flags & VER_FLG_WEAK) == 0) {
        file.needed_versions[texts.at(strings, library.vn_file)].insert(name);
      }
      next = version.vna_next == 0 ? data->d_size : next + version.vna_next;
    }
    at = library.vn_next == 0 ? data->d_size : at + library.vn_next;
  }
}

void readOwnVersions(Texts& texts, Elf_Data* data, std::size_t strings, ElfFile& file) {
  GElf_Verdef version;
  std::uint64_t at = 0;
  while (texts.hasRoom() && at < data->d_size &&
         gelf_getverdef(data, static_cast<int>(at), &version) != nullptr) {
    GElf_Verdaux name;
    const std::uint64_t first = at + version.vd_aux;
    if (first < data->d_size && gelf_getverdaux(data, static_cast<int>(first), &name) != nullptr) {
      file.versions.insert(texts.at(strings, name.vda_name));
    }
    at = version.vd_next == 0 ? data->d_size : at + version.vd_next;
  }
}

/// True when a page that would be mapped lies behind the end of the file.
bool isCutShort(const ElfHandle& handle) {
  std::size_t parts = 0;
  if (elf_getphdrnum(handle.get(), &parts) != 0) {
    return true;
  }
  GElf_Phdr part;
  for (std::size_t i = 0; i < parts; ++i) {
    if (gelf_getphdr(handle.get(), static_cast<int>(i), &part) == nullptr ||
        (part.p_type == PT_LOAD &&
         trx::isPartCutShort(part.p_offset, part.p_filesz, part.p_vaddr, handle.size()))) {
      return true;
    }
  }
  return false;
}

/// Keeps the content of the section that holds the descriptions of HAPs.
void readDescriptions(Elf* elf, Texts& texts, const GElf_Shdr& section, const Elf_Data* data,
                      ElfFile& file) {
  std::size_t names = 0;
  if (section.sh_type == SHT_PROGBITS && data->d_buf != nullptr &&
      elf_getshdrstrndx(elf, &names) == 0 &&
      texts.at(names, section.sh_name) == kDescriptionSection) {
    file.descriptions.append(static_cast<const char*>(data->d_buf), data->d_size);
  }
}

void readSections(Elf* elf, const std::string& path, ElfFile& file) {
  Texts texts(elf);
  for (Elf_Scn* section = nullptr; (section = elf_nextscn(elf, section)) != nullptr;) {
    GElf_Shdr info;
    Elf_Data* data = elf_getdata(section, nullptr);
    if (data == nullptr || gelf_getshdr(section, &info) == nullptr) {
      continue;
    }
    if (info.sh_type == SHT_DYNAMIC) {
      readDynamic(texts, data, info.sh_link, path, file);
    } else if (info.sh_type == SHT_DYNSYM) {
      file.has_sections = true;
      readSymbols(texts, data, info.sh_link, file);
    } else if (info.sh_type == SHT_GNU_verneed) {
      readNeededVersions(texts, data, info.sh_link, file);
    } else if (info.sh_type == SHT_GNU_verdef) {
      readOwnVersions(texts, data, info.sh_link, file);
    } else {
      readDescriptions(elf, texts, info, data, file);
    }
  }
  if (!texts.hasRoom()) {
    file.problem = "names more than any library does";
  }
}

void readAll(Elf* elf, const GElf_Ehdr& header, const std::string& path, ElfFile& file) {
  file.machine = header.e_machine;
  file.elf_class = gelf_getclass(elf);
  readSections(elf, path, file);
}

}  // namespace

ElfFile readElf(const std::string& path) {
  ElfFile file;
  const ElfHandle handle(path);
  if (!handle.problem().empty()) {
    file.problem = handle.problem();
    return file;
  }
  GElf_Ehdr header;
  Elf* elf = handle.get();
  if (elf_kind(elf) != ELF_K_ELF || gelf_getehdr(elf, &header) == nullptr ||
      header.e_type != ET_DYN) {
    file.problem = "is no shared library";
    return file;
  }
  if (isCutShort(handle)) {
    file.problem = trx::kCutShortWords;
    return file;
  }
  readAll(elf, header, path, file);
  return file;
}

ProgramFile readProgram(const std::string& path) {
  ProgramFile program;
  const ElfHandle handle(path);
  GElf_Ehdr header;
  Elf* elf = handle.get();
  if (!handle.problem().empty()) {
    program.problem = handle.problem();
  } else if (elf_kind(elf) != ELF_K_ELF || gelf_getehdr(elf, &header) == nullptr) {
    program.problem = "is no ELF file";
  } else {
    readAll(elf, header, path, program);
    program.problem.clear();
    GElf_Phdr part;
    for (int i = 0; gelf_getphdr(elf, i, &part) != nullptr; ++i) {
      program.has_interpreter |= part.p_type == PT_INTERP;
    }
  }
  return program;
}

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

void addFolders(const std::string& paths, const std::string& file,
                std::vector<std::string>& folders) {
  std::istringstream in(paths);
  for (std::string folder; std::getline(in, folder, ':');) {
    for (const std::string origin : {"$ORIGIN", "${ORIGIN}"}) {
      const std::size_t at = folder.find(origin);
      if (at != std::string::npos) {
        folder.replace(at, origin.size(),
                       fs::absolute(file).lexically_normal().parent_path().string());
      }
    }
    folders.push_back(folder);
  }
}

}  // namespace kw::trx::tools
