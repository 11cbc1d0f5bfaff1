// SPDX-License-Identifier: Apache-2.0
#include "hap/library_file.h"

#include <link.h>

#include <cstring>

#include "support/regular_file.h"
#include "zqm_trx/file_limits.h"

namespace kw::trx::trx {
namespace {

constexpr unsigned char kNativeClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;

bool isNative(const ElfW(Ehdr) & header) {
  return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 &&
         header.e_ident[EI_CLASS] == kNativeClass && header.e_phentsize == sizeof(ElfW(Phdr));
}

/// Headers that the file does not have, or that are not those of this architecture, are the
/// loader's to refuse.
const char* problemOfParts(const RegularFile& file) {
  ElfW(Ehdr) header;
  const long long bytes = file.readAt(&header, sizeof(header), 0);
  if (bytes < 0) {
    return kUnreadableWords;
  }
  const bool is_native = bytes == static_cast<long long>(sizeof(header)) && isNative(header);
  for (unsigned int i = 0; is_native && i < header.e_phnum; ++i) {
    ElfW(Phdr) part{};
    if (file.readAt(&part, sizeof(part), header.e_phoff + i * 1ULL * sizeof(part)) < 0) {
      return kUnreadableWords;
    }
    if (part.p_type == PT_LOAD &&
        isPartCutShort(part.p_offset, part.p_filesz, part.p_vaddr, file.size())) {
      return kCutShortWords;
    }
  }
  return nullptr;
}

}  // namespace

const char* problemOfLibraryFile(const std::string& path) {
  const RegularFile file(path);
  if (file.kind() == RegularFile::Kind::kOther) {
    return kNotRegularWords;
  }
  return file.kind() == RegularFile::Kind::kRegular ? problemOfParts(file) : nullptr;
}

}  // namespace kw::trx::trx
