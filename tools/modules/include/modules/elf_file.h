// SPDX-License-Identifier: Apache-2.0
// Shared libraries as files: what one says of itself, read without running its code.
#ifndef KW_TRX_TOOLS_MODULES_ELF_FILE_H_
#define KW_TRX_TOOLS_MODULES_ELF_FILE_H_

#include <map>
#include <set>
#include <string>
#include <vector>

namespace kw::trx::tools {

/// What the dynamic section, the dynamic symbols and the symbol versions of one ELF file say.
struct ElfFile {
  std::string problem;  ///< why it cannot be read as a shared library; empty: it can
  unsigned int machine = 0;
  int elf_class = 0;
  bool has_sections = false;  ///< false: it may load, but nothing below is known
  std::string soname;
  std::vector<std::string> needed, rpath, runpath, undefined;
  std::set<std::string> defined, functions, versions;
  std::map<std::string, std::set<std::string>> needed_versions;  ///< by the library's name
  std::string descriptions;  ///< what the section of descriptions of HAPs holds
};

ElfFile readElf(const std::string& path);

struct ProgramFile : ElfFile {
  bool has_interpreter = false;  ///< false: it is linked statically
};

/// The same of a program.
ProgramFile readProgram(const std::string& path);

/// Name of an architecture as people call it.
std::string architectureOf(const ElfFile& file);

/// Adds the folders of a search path, in which $ORIGIN stands for the folder of `file`.
void addFolders(const std::string& paths, const std::string& file,
                std::vector<std::string>& folders);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_MODULES_ELF_FILE_H_
