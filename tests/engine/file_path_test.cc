// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/file_path.h"

#include <gtest/gtest.h>

#include <functional>

namespace kw::trx::trx {
namespace {

struct Edit {
  const char* name;
  std::function<void(FilePath&)> apply;
  std::vector<std::pair<std::string, std::string>> cases;
};

TEST(FilePathTest, EditsInPlace) {
  const char* none = nullptr;
  const Edit edits[] = {
      {"erasePath",
       [](FilePath& p) { p.erasePath(); },
       {{"abc", "abc"}, {"/", ""}, {"/usr/lib/", ""}, {"/a/b.c", "b.c"}, {"", ""}}},
      {"eraseFileExtension",
       [](FilePath& p) { p.eraseFileExtension(); },
       {{"libzq_hap_abc.so.1", "libzq_hap_abc.so"},
        {".profile", ".profile"},
        {"/home/.profile", "/home/.profile"},
        {"dir.d/file", "dir.d/file"},
        {"abc.", "abc"},
        {"a/b.c", "a/b"},
        {"..", "."},
        {"", ""}}},
      {"eraseNotExtension",
       [](FilePath& p) { p.eraseNotExtension(); },
       {{"table.CSV", "CSV"},
        {"table.", "table."},
        {"table", "table"},
        {".csv", ".csv"},
        {"a.d/.csv", "a.d/.csv"},
        {"a.d/b", "a.d/b"},
        {"a.d/b.c", "c"}}},
      {"erasePrefix lib",
       [](FilePath& p) { p.erasePrefix("lib"); },
       {{"mylib", "mylib"}, {"lib", ""}, {"liblib", "lib"}, {"li", "li"}}},
      {"erasePrefix empty", [](FilePath& p) { p.erasePrefix(std::string()); }, {{"a", "a"}}},
      {"erasePrefix null", [none](FilePath& p) { p.erasePrefix(none); }, {{"a", "a"}}},
      {"back of _",
       [](FilePath& p) { p.eraseSeparatorBackFirstOf('_'); },
       {{"ABC_Do_It", "ABC"}, {"ABC", "ABC"}, {"_X", ""}, {"", ""}}},
      {"back of ::",
       [](FilePath& p) { p.eraseSeparatorBackFirstOf(std::string("::")); },
       {{"a:b::c::d", "a:b"}, {"a:b", "a:b"}}},
      {"back of null", [none](FilePath& p) { p.eraseSeparatorBackFirstOf(none); }, {{"a", "a"}}},
      {"back of NUL", [](FilePath& p) { p.eraseSeparatorBackFirstOf('\0'); }, {{"abc", ""}}},
      {"toUpper", [](FilePath& p) { p.toUpper(); }, {{"aZ_9\xe4", "AZ_9\xe4"}}},
      {"toLower", [](FilePath& p) { p.toLower(); }, {{"aZ_9", "az_9"}}},
      {"assign null", [none](FilePath& p) { p = none; }, {{"a", "a"}}},
      {"assign text", [](FilePath& p) { p = "b"; }, {{"a", "b"}}},
  };
  for (const Edit& edit : edits) {
    for (const auto& [before, after] : edit.cases) {
      FilePath path(before);
      edit.apply(path);
      EXPECT_EQ(path.value, after) << edit.name << " of '" << before << "'";
    }
  }
  EXPECT_EQ(FilePath(none).value, "");
}

TEST(FilePathTest, ChecksBytesAgainstInclusiveRanges) {
  using Ranges = std::vector<std::pair<char, char>>;
  const Ranges digits = {{'0', '9'}};
  EXPECT_TRUE(FilePath("1239").isUsedValidChars(digits));
  EXPECT_FALSE(FilePath("12a").isUsedValidChars(digits));
  EXPECT_FALSE(FilePath("1 ").isUsedValidChars({}));
  EXPECT_TRUE(FilePath().isUsedValidChars({}));
  EXPECT_TRUE(FilePath("_-").isUsedValidChars({{'_', '_'}, {'-', '-'}}));
  EXPECT_TRUE(FilePath("\x80\xff").isUsedValidChars({{'\x80', '\xff'}})) << "bytes are unsigned";
  EXPECT_FALSE(FilePath("a").isUsedValidChars({{'\x80', '\xff'}}));
}

TEST(FilePathTest, SplitsIntoOnePieceMoreThanSeparators) {
  using Pieces = std::vector<std::string>;
  const std::pair<const char*, Pieces> cases[] = {
      {"", {}},        {"1 2 3", {"1", "2", "3"}}, {"1  2", {"1", "", "2"}}, {"a ", {"a", ""}},
      {" ", {"", ""}}, {"abc", {"abc"}},
  };
  for (const auto& [text, pieces] : cases) {
    EXPECT_EQ(FilePath(text).getSpecificStringSplitValue(' '), pieces) << text;
  }
}

}  // namespace
}  // namespace kw::trx::trx
