// SPDX-License-Identifier: Apache-2.0
// What the fuzz targets share. One thread calls it.
#ifndef KW_TRX_FUZZ_HARNESS_H_
#define KW_TRX_FUZZ_HARNESS_H_

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "kw/trx/testing/temp_dir.h"

/// Runs one input; libFuzzer or the replay of the kept inputs calls it. Returns 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace kw::trx::fuzz {

/// The bytes of an input as text.
inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// Ends the process, which makes the input a finding, unless `holds`.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

/// A file whose content changes with each input. It lies in memory, as its folder would take most
/// of the time of a run, and has its name from a link.
class InputFile {
 public:
  explicit InputFile(const std::string& name)
      : file_(memfd_create(name.c_str(), MFD_CLOEXEC)), path_(dir_.path() + "/" + name) {
    const std::string target = "/proc/self/fd/" + std::to_string(file_);
    require(file_ >= 0 && symlink(target.c_str(), path_.c_str()) == 0, "there is room for a file");
  }

  /// Full path of the file, which then holds exactly `content`.
  const std::string& write(std::string_view content) const {
    require(ftruncate(file_, 0) == 0 && pwrite(file_, content.data(), content.size(), 0) ==
                                            static_cast<ssize_t>(content.size()),
            "there is room for a file");
    return path_;
  }

  const testing::TempDir& dir() const { return dir_; }

 private:
  testing::TempDir dir_;
  int file_;
  std::string path_;
};

}  // namespace kw::trx::fuzz

#endif  // KW_TRX_FUZZ_HARNESS_H_
