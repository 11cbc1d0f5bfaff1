// SPDX-License-Identifier: Apache-2.0
// The files of a board, on the board itself or copied below the system root. One thread.
#ifndef KW_TRX_TOOLS_CONFIGURATION_BOARD_COPY_H_
#define KW_TRX_TOOLS_CONFIGURATION_BOARD_COPY_H_

#include <memory>
#include <string>

#include "common/temp_folder.h"

namespace kw::trx::tools {

/// Where the file `path` of a configuration is: below the system root if there is such a file, else
/// where it says itself.
std::string boardFile(const std::string& path);

/// While it lives, the engine reads the configuration with the files that `boardFile` finds: a
/// changed copy of it takes the place of the system root, if there is anything to change.
class BoardCopy {
 public:
  /// Throws `std::runtime_error` when the copy cannot be written.
  BoardCopy();
  BoardCopy(const BoardCopy&) = delete;
  BoardCopy& operator=(const BoardCopy&) = delete;
  ~BoardCopy();

 private:
  const std::string root_;
  std::unique_ptr<TempFolder> copy_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_CONFIGURATION_BOARD_COPY_H_
