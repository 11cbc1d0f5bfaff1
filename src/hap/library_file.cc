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

enum class Got { kAll, kLess, kNothing };  // whole; up to the end of the file; a read that failed

template <typename Header>
Got readHeader(const RegularFile& file, unsigned long long offset, Header& header) {
  const long long bytes = file.readAt(&header, sizeof(header), offset);
  return bytes < 0                                         ? Got::kNothing
         : bytes == static_cast<long long>(sizeof(header)) ? Got::kAll
                                                           : Got::kLess;
}

bool isNative(const ElfW(Ehdr) & header) {
  return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 &&
         header.e_ident[EI_CLASS] == kNativeClass && header.e_phentsize == sizeof(ElfW(Phdr));
}

/// True for a part that is mapped from the file, and that the file has not whole. Without bytes of
/// the file, and on a page of its own, a part is not mapped from it.
bool isCutShort(const ElfW(Phdr) & part, const RegularFile& file) {
  const bool is_mapped =
      part.p_filesz != 0 || part.p_vaddr % static_cast<unsigned long>(getpagesize()) != 0;
  const bool fits = part.p_filesz <= file.size() && part.p_offset <= file.size() - part.p_filesz;
  return part.p_type == PT_LOAD && is_mapped && !fits;
}

/// What is wrong with a library of this architecture: its parts do not all lie within the file, or
/// cannot be told. Anything else is looked at by the loader.
const char* problemOfParts(const RegularFile& file) {
  ElfW(Ehdr) header;
  const Got got = readHeader(file, 0, header);
  if (got == Got::kNothing) {
    return kUnreadableWords;
  }
  const unsigned int parts = got == Got::kAll && isNative(header) ? header.e_phnum : 0;
  for (unsigned int i = 0; i < parts; ++i) {
    ElfW(Phdr) part;
    const Got got_part = readHeader(file, header.e_phoff + i * 1ULL * sizeof(part), part);
    if (got_part == Got::kNothing) {
      return kUnreadableWords;
    }
    if (got_part == Got::kLess || isCutShort(part, file)) {
      return kCutShortWords;
    }
  }
  return nullptr;
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
  return problemOfParts(file);
}

}  // namespace kw::trx::trx
