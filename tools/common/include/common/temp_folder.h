// SPDX-License-Identifier: Apache-2.0
// Folders for files that nobody needs behind the tool. One thread.
#ifndef KW_TRX_TOOLS_COMMON_TEMP_FOLDER_H_
#define KW_TRX_TOOLS_COMMON_TEMP_FOLDER_H_

#include <string>

namespace kw::trx::tools {

/// A folder below that of temporary files, removed with all in it at the end.
class TempFolder {
 public:
  /// Makes it, and removes those that tools which were killed have left. Throws
  /// `std::runtime_error` that names the folder and why it cannot be made.
  TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder();

  const std::string& path() const { return path_; }

  /// Writes the file `name`, with folders before it. Throws `std::runtime_error` that names it and
  /// why that failed.
  void write(const std::string& name, const std::string& content) const;

 private:
  std::string path_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMON_TEMP_FOLDER_H_
