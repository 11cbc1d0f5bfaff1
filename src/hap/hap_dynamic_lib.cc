// SPDX-License-Identifier: Apache-2.0
#include <dlfcn.h>

#include <algorithm>
#include <vector>

#include "hap/library_file.h"
#include "kw/trx/file_path.h"
#include "kw/trx/hap_module.h"
#include "support/no_cancellation.h"
#include "support/trace.h"

namespace kw::trx::trx {
namespace {

constexpr std::string::size_type kPieceLength = 47;

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

}  // namespace kw::trx::trx
