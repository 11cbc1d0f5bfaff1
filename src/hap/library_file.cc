// SPDX-License-Identifier: Apache-2.0
#include "hap/library_file.h"

#include <link.h>
#include <unistd.h>

#include <cstring>

#include "support/regular_file.h"
#include "zqm_trx/file_limits.h"

namespace kw::trx::trx {
namespace {

constexpr unsigned char kNativeClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;

template <typename Header>
bool readHeader(const RegularFile& file, unsigned long long offset, Header& header) {
  return file.readAt(&header, sizeof(header), offset) == static_cast<long long>(sizeof(header));
}

/// True for a library of this architecture whose parts do not all lie within the file. Anything
/// else is looked at by the loader.
bool isCutShort(const RegularFile& file) {
  ElfW(Ehdr) header;
  if (!readHeader(file, 0, header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
      header.e_ident[EI_CLASS] != kNativeClass || header.e_phentsize != sizeof(ElfW(Phdr))) {
    return false;
  }
  for (unsigned int i = 0; i < header.e_phnum; ++i) {
    ElfW(Phdr) part;
    const unsigned long long offset = header.e_phoff + i * 1ULL * sizeof(part);
    if (!readHeader(file, offset, part)) {
      return true;
    }
    // Without bytes of the file, and on a page of its own, it is not mapped from the file.
    const bool is_mapped =
        part.p_filesz != 0 || part.p_vaddr % static_cast<unsigned long>(getpagesize()) != 0;
    const bool fits = part.p_filesz <= file.size() && part.p_offset <= file.size() - part.p_filesz;
    if (part.p_type == PT_LOAD && is_mapped && !fits) {
      return true;
    }
  }
  return false;
}

}  // namespace

const char* problemOfLibraryFile(const std::string& path) {
  const RegularFile file(path);
  if (file.kind() == RegularFile::Kind::kNone) {
    return nullptr;
  }
  if (file.kind() == RegularFile::Kind::kOther) {
    return kNotRegularWords;
  }
  if (file.size() > kModuleFileMax) {
    return kModuleTooLargeWords;
  }
  return isCutShort(file) ? kCutShortWords : nullptr;
}

}  // namespace kw::trx::trx
