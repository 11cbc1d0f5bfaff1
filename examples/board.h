// SPDX-License-Identifier: Apache-2.0
// The imaginary board that the demo modules work on, and how they reach it: the host hangs a link
// to it on every context.
#ifndef EXAMPLES_BOARD_H_
#define EXAMPLES_BOARD_H_

#include <array>

#include "kw/trx/trx_info.h"

namespace demo {

constexpr int kRails = 4;

/// State of the board, changed by HAPs alone.
struct Board {
  std::array<unsigned int, kRails> set_mv{};  ///< voltage set on each rail, in millivolts
  std::array<bool, kRails> enabled{};         ///< whether a rail is switched on
};

/// What a context carries to its HAPs. The context owns the link, not the board.
class BoardLink : public kw::trx::hapapi::HAPAPIExpandData {
 public:
  explicit BoardLink(Board& board) : board_(board) {}
  Board& board() const { return board_; }

 private:
  Board& board_;
};

/// The board behind `info`; for a host that attached none, such as trxctl, one without power.
inline Board& boardOf(kw::trx::trx::TRXInfo* info) {
  static Board unattached;
  auto* link = static_cast<BoardLink*>(info->getHAPAPIExpandData());
  return link == nullptr ? unattached : link->board();
}

/// Error codes of the demo modules. Bit 0x20000 makes the engine trace the detail words, bit
/// 0x40000 the API error block.
constexpr unsigned int kErrorVoltage = 0x20001;  ///< detail: rail, millivolts asked for, limit
constexpr unsigned int kErrorUnit = 0x20002;     ///< detail: channel
constexpr unsigned int kErrorMeasured =
    0x20003;  ///< detail: millivolts measured, lowest and highest allowed
constexpr unsigned int kErrorConverter = 0x40001;

}  // namespace demo

#endif  // EXAMPLES_BOARD_H_
