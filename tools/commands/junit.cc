// SPDX-License-Identifier: Apache-2.0
#include "commands/junit.h"

#include <algorithm>

#include "common/characters.h"

namespace kw::trx::tools {
namespace {

/// `text` within an attribute, with what does not show as \x and two digits: XML has no way to
/// write most control characters, nor bytes that are no character.
std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : visible(text)) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

}  // namespace

std::string junitOf(const std::vector<TestedFile>& files) {
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
  for (const TestedFile& file : files) {
    const auto failed =
        std::count_if(file.cases.begin(), file.cases.end(),
                      [](const CaseResult& one) { return !one.differences.empty(); });
    out += " <testsuite name=\"" + escaped(file.file) + "\" tests=\"" +
           std::to_string(file.cases.size()) + "\" failures=\"" + std::to_string(failed) + "\">\n";
    for (const CaseResult& one : file.cases) {
      out += "  <testcase classname=\"" + escaped(file.file) + "\" name=\"" + escaped(one.name) +
             "\" line=\"" + std::to_string(one.line) + "\">\n";
      for (const std::string& difference : one.differences) {
        out += "   <failure message=\"" + escaped(difference) + "\"/>\n";
      }
      out += "  </testcase>\n";
    }
    out += " </testsuite>\n";
  }
  return out + "</testsuites>\n";
}

}  // namespace kw::trx::tools
