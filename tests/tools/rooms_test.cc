// SPDX-License-Identifier: Apache-2.0
// What rooms tell of files and texts, held against readers that are not theirs.
#include <gtest/gtest.h>

#include <random>

#include "configuration/properties_file.h"
#include "kw/trx/testing/temp_dir.h"

namespace kw::trx::testing {
namespace {

TEST(RoomsTest, TheLineOfAKeyIsTheOneThatGivesItsValue) {
  const char* const pieces[] = {"a",  "b.c",  "\\u0061", "=", ":", " ",    "\t",  "\n", "\r\n",
                                "\n", "\\\n", "\\\\",    "#", "!", "\n  ", "\\ ", "\f"};
  const TempDir dir;
  std::mt19937 random(20);
  for (int round = 0; round < 300; ++round) {
    std::string text;
    for (int i = 0; i < 24; ++i) {
      text += pieces[random() % std::size(pieces)] + (i % 4 == 3 ? std::to_string(i) : "");
    }
    tools::PropertiesFile file;
    file.path = dir.write("a.conf", text);
    ASSERT_EQ(file.read(), "");
    for (const std::string key : {"a", "b.c", "a3", "b.c3", "aa", ""}) {
      const unsigned int line = file.lineOf(key);
      EXPECT_EQ(line != 0, file.values.exist(key)) << key << " in\n" << text;
      if (line == 0) {
        continue;
      }
      // Without what stands before its line, the value is the same.
      std::size_t start = 0;
      for (unsigned int i = 1; i < line; ++i) {
        start = text.find_first_of("\r\n", start);
        start += text.compare(start, 2, "\r\n") == 0 ? 2 : 1;
      }
      kw::util::config::CppProperties rest(false);
      rest.load(dir.write("rest.conf", text.substr(start)));
      EXPECT_EQ(rest.getProperty(key), file.values.getProperty(key)) << key << " in\n" << text;
    }
  }
}

}  // namespace
}  // namespace kw::trx::testing
