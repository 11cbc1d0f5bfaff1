// SPDX-License-Identifier: Apache-2.0
// A folder for the files of one test. Not synchronised; the folder lives as long as its object.
#ifndef KW_TRX_TESTING_TEMP_DIR_H_
#define KW_TRX_TESTING_TEMP_DIR_H_

#include <string>

namespace kw::trx::testing {

/// Makes a new folder and removes it with all it holds at the end of its scope.
class TempDir {
 public:
  /// Throws `std::runtime_error` when no folder can be made.
  TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir();

  /// Full path, without a slash at its end.
  std::string path() const { return path_; }

  /// Writes the file `name`, which may begin with folders, and returns its full path.
  std::string write(const std::string& name, const std::string& content) const;

 private:
  std::string path_;
};

}  // namespace kw::trx::testing

#endif  // KW_TRX_TESTING_TEMP_DIR_H_
