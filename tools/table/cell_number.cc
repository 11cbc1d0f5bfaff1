// SPDX-License-Identifier: Apache-2.0
#include "table/cell_number.h"

#include <cstdlib>
#include <limits>

namespace kw::trx::tools {

CellNumber cellNumber(const std::string& cell, unsigned int base) {
  char* end = nullptr;
  const unsigned long long read = std::strtoull(cell.c_str(), &end, static_cast<int>(base));
  const bool is_whole = end == cell.c_str() + cell.size();
  const std::size_t begin = cell.find_first_not_of(" \t\n\v\f\r");
  const bool is_minus = begin != std::string::npos && cell[begin] == '-';
  constexpr std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
  if (read == std::numeric_limits<unsigned long long>::max() && !is_minus) {
    return {most, is_whole};
  }
  const unsigned long long magnitude = is_minus ? 0 - read : read;
  return {magnitude > most ? most : static_cast<std::uint32_t>(read), is_whole};
}

}  // namespace kw::trx::tools
