// SPDX-License-Identifier: Apache-2.0
// Files of LCOV: what was read and is written is read as the same.
#include <stdexcept>

#include "coverage/coverage.h"
#include "harness.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kw::trx;
  static const fuzz::InputFile file("tables.info");
  try {
    const tools::Coverage coverage = tools::readCoverage(file.write(fuzz::textOf(data, size)));
    const std::string written = tools::lcovOf(coverage);
    const tools::Coverage again = tools::readCoverage(file.write(written));
    fuzz::require(tools::lcovOf(again) == written, "what was written is read as it was");
  } catch (const std::runtime_error&) {
    // It is no such file.
  }
  return 0;
}
