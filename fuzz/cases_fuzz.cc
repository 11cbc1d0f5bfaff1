// SPDX-License-Identifier: Apache-2.0
// Case files: any text is read, or refused with a line.
#include "cases/case_file.h"
#include "harness.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kw::trx;
  static const fuzz::InputFile file("some.cases.csv");
  const std::string_view text = fuzz::textOf(data, size);
  if (text.find('/') != std::string_view::npos) {
    return 0;  // it could name any file of this machine
  }
  const std::string& path = file.write(text);
  const tools::CaseFile cases = tools::readCaseFile(path);
  for (const tools::TableCase& one : cases.cases) {
    fuzz::require(one.expectsSomething(), "a case expects something");
  }
  fuzz::require(!cases.cases.empty() || !cases.rules.empty() || !cases.findings.empty(),
                "a file without cases and rules is refused");
  return 0;
}
