// SPDX-License-Identifier: Apache-2.0
// A folder for the files of one test.
#ifndef KW_TRX_TESTS_SUPPORT_TEMP_DIR_H_
#define KW_TRX_TESTS_SUPPORT_TEMP_DIR_H_

#include <string>

namespace kw::trx::testing {

/// Makes a new folder and removes it with all it holds at the end of its scope.
class TempDir {
 public:
  TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir();

  std::string path() const { return path_; }

  /// Writes the file `name`, which may begin with folders, and returns its full path.
  std::string write(const std::string& name, const std::string& content) const;

 private:
  std::string path_;
};

}  // namespace kw::trx::testing

#endif  // KW_TRX_TESTS_SUPPORT_TEMP_DIR_H_
