// SPDX-License-Identifier: Apache-2.0
// What check found, in text, JSON or SARIF.
#ifndef KW_TRX_TOOLS_COMMANDS_CHECK_OUTPUT_H_
#define KW_TRX_TOOLS_COMMANDS_CHECK_OUTPUT_H_

#include "common/json.h"
#include "lint/check.h"

namespace kw::trx::tools {

void print(const CheckedFile& checked);

/// What was found in all files.
struct CheckSum {
  std::size_t good = 0;           ///< files without errors and warnings
  std::size_t with_errors = 0;    ///< files
  std::size_t with_warnings = 0;  ///< files that have warnings alone
  std::size_t unreadable = 0;     ///< thereof files that cannot be read

  void add(const CheckedFile& checked);
};

/// Prints a line.
void print(const CheckSum& sum);

/// A list of files.
class CheckJson {
 public:
  CheckJson();
  void add(const CheckedFile& checked);
  /// The whole text.
  std::string taken() { return json_.endArray().endObject().taken(); }

 private:
  JsonWriter json_{2};
};

/// A log in version 2.1.0 of SARIF, as code hosts read it.
class CheckSarif {
 public:
  CheckSarif();
  void add(const CheckedFile& checked);
  /// The whole text.
  std::string taken();

 private:
  JsonWriter json_{2};
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMANDS_CHECK_OUTPUT_H_
