// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/hap_module.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "kw/trx/errors.h"
#include "kw/trx/file_path.h"
#include "support/no_cancellation.h"
#include "support/regular_file.h"
#include "support/trace.h"
#include "zqm_trx/file_limits.h"

namespace kw::trx::trx {
namespace {

constexpr std::string::size_type kPieceLength = 47;
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

/// Why the loader must not get the library at `path`, in words; null when it may, and itself tells
/// of every other problem. A pipe would let it wait for ever, and a file that ends before a page
/// that is mapped from it would kill the process at the first access to that page.
const char* problemOfLibraryFile(const std::string& path) {
  const RegularFile file(path);
  if (file.kind() == RegularFile::Kind::kOther) {
    return kNotRegularWords;
  }
  return file.kind() == RegularFile::Kind::kRegular ? problemOfParts(file) : nullptr;
}

/// Writes `text` in pieces, one record each: a text record of the trace has to stay short.
void traceInPieces(const TracePoint& point, const std::string& text) {
  std::vector<std::string> pieces;
  for (std::string::size_type begin = 0; begin < text.size(); begin += kPieceLength) {
    pieces.push_back(text.substr(begin, kPieceLength));
  }
  for (const std::string& piece : pieces) {
    trace(point, piece);
  }
}

/// Whoever used the loader before, a host or a HAP, may have left the text of its own failure.
void dropStaleMessage() { dlerror(); }

/// The loader holds its lock while it runs the constructors of a library. An exception of one that
/// passed through the loader would leave that lock held for good, and every later use of the loader
/// in another thread would hang: the process ends here instead, with what the exception says. The
/// cancellation of the thread, which unwinds it in the same way, waits.
void* openLibrary(const std::string& file) noexcept {
  const NoCancellation uncancelled;
  // Volatile, as the compiler takes the declaration of dlopen at its word that nothing is thrown.
  void* (*volatile open)(const char*, int) = dlopen;
  return open(file.c_str(), RTLD_NOW);
}

}  // namespace

HAPDynamicLib::HAPDynamicLib() = default;

HAPDynamicLib::~HAPDynamicLib() { unload(); }

int HAPDynamicLib::load(const std::string& path) {
  const std::string file = "/" + path;
  std::string reason;
  if (const char* const problem = problemOfLibraryFile(file)) {
    reason = file + ": " + problem;
  } else {
    dropStaleMessage();
    handle_ = openLibrary(file);
    // A constructor that runs inside dlopen can leave a text as well: only one without a handle
    // tells of this library.
    const char* message = dlerror();
    if (message == nullptr || handle_ != nullptr) {
      return 0;
    }
    reason = message;  // the loader drops its text at its next call
  }
  FilePath file_name(file);
  file_name.erasePath();
  trace(kLibLoadFailed, file_name.value);
  traceInPieces(kLibLoadReason, reason);
  return -1;
}

void* HAPDynamicLib::getHAP(const std::string& name) {
  if (handle_ == nullptr) {
    trace(kLibNotOpen, name);
    return nullptr;
  }
  dropStaleMessage();
  void* address = dlsym(handle_, name.c_str());
  const char* message = dlerror();
  if (message == nullptr) {
    return address;
  }
  const std::string reason(message);
  trace(kLibNoSymbol, name);
  traceInPieces(kLibNoSymbolReason, reason);
  return nullptr;
}

void HAPDynamicLib::unload() {
  if (handle_ == nullptr) {
    return;
  }
  const NoCancellation uncancelled;
  dlclose(handle_);
  dropStaleMessage();
  handle_ = nullptr;
}

HAPCache::HAPCache(const std::string& path) {
  if (library_.load(path) != 0) {
    throw TRXException(kCodeModuleLoad);
  }
  mutex_.init();
}

HAPCache::~HAPCache() {
  mutex_.destroy();
  functions_.clear();
}

int HAPCache::load(const std::string& path) { return library_.load(path); }

void* HAPCache::getHAP(const std::string& name) {
  const MutexGuard guard(mutex_);
  const auto found = functions_.find(name);
  if (found != functions_.end()) {
    void* address = found->second;
    trace(kHAPCacheHit, name);
    return address;
  }
  void* address = library_.getHAP(name);
  if (address == nullptr) {
    trace(kHAPCacheUnresolved, name);
    return nullptr;
  }
  functions_.emplace(name, address);
  trace(kHAPCacheResolved, name);
  return address;
}

}  // namespace kw::trx::trx
