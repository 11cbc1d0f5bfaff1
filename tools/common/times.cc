// SPDX-License-Identifier: Apache-2.0
#include "common/times.h"

#include <ctime>

namespace kw::trx::tools {

std::string localTimeText(std::int64_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  std::tm parts{};
  localtime_r(&time, &parts);
  char text[64];
  return {text, std::strftime(text, sizeof(text), "%F %T%z", &parts)};
}

}  // namespace kw::trx::tools
