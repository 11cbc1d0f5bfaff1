// SPDX-License-Identifier: Apache-2.0
// Numbers in the cells of table files, read as the engine reads them on every host. Any thread.
#ifndef KW_TRX_TOOLS_TABLE_CELL_NUMBER_H_
#define KW_TRX_TOOLS_TABLE_CELL_NUMBER_H_

#include <cstdint>
#include <string>

namespace kw::trx::tools {

struct CellNumber {
  std::uint32_t value;  ///< 0 when no number begins the cell
  bool is_whole;        ///< nothing stands behind the number
};

/// The number at the start of `cell` in `base`, 10 or 16: what `strtoul` makes of it where unsigned
/// long has 32 bits.
CellNumber cellNumber(const std::string& cell, unsigned int base);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLE_CELL_NUMBER_H_
