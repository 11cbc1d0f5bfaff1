// SPDX-License-Identifier: Apache-2.0
// Faults of rows in words, each with a way to go on.
#ifndef KW_TRX_TOOLS_LINT_ROW_FAULTS_H_
#define KW_TRX_TOOLS_LINT_ROW_FAULTS_H_

#include <cstdint>
#include <set>
#include <string>

#include "lint/fault_log.h"

namespace kw::trx::tools {

/// Notes the faults that the engine's checks tell, and patches the cells concerned.
class RowFaults {
 public:
  explicit RowFaults(FaultLog& log) : log_(log) {}

  /// Notes the fault told by `record` and patches it. False when there is no way to go on.
  bool note(const kw::platform::TraceRecord& record);

  /// Note and patch a cell of `row` whose content an earlier row has.
  void noteNumberTwice(unsigned int row, std::uint32_t number);
  void noteLabelTwice(unsigned int row);

 private:
  PatchedFormat& format() { return *log_.format; }

  /// Notes the characters of a cell that may not stand there. Fields of PARA are checked all the
  /// same, with a digit in place of each of them.
  void noteCharacters(unsigned int row, unsigned int column, const std::string& cell,
                      unsigned int id);
  /// A row with an unknown command passes from now on, whatever its other cells hold.
  void noteCommand(unsigned int row, unsigned int id);
  /// A number that no row has.
  std::string unusedNumber();

  FaultLog& log_;
  std::set<std::uint32_t> used_numbers_;
  std::uint32_t next_number_ = 0xffffffff;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LINT_ROW_FAULTS_H_
