// SPDX-License-Identifier: Apache-2.0
#include "kw/util/config/cpp_properties.h"

#include <gtest/gtest.h>

#include <new>
#include <utility>
#include <vector>

#include "kw/platform.h"
#include "kw/trx/testing/temp_dir.h"

using kw::trx::testing::TempDir;
using kw::util::config::CppProperties;

namespace {

struct SyntaxCase {
  std::string text;
  std::vector<std::pair<std::string, std::string>> pairs;
  std::vector<std::string> absent;
};

const SyntaxCase kSyntax[] = {
    {"a=1\nb:2\nc 3\nd\n", {{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", ""}}, {"e"}},
    {" \t\fkey \t= \t two words \t\n", {{"key", "two words \t"}}, {}},
    {"a==b\nc = : d\ne  f=g\n", {{"a", "=b"}, {"c", ": d"}, {"e", "f=g"}}, {}},
    {"# x=1\n  ! y=2\na=#1\nb=!\n", {{"a", "#1"}, {"b", "!"}}, {"#", "x", "y", "!"}},
    {"# no continuation \\\na=1", {{"a", "1"}}, {}},
    {"a=1\r\nb=2\rc=3\n\r\n \t\nd=4", {{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}}, {"", "\r"}},
    {"\xEF\xBB\xBFx=\xC3\xA4", {{"x", "\xC3\xA4"}}, {}},
    {"a=1\na=2\na=\n", {{"a", ""}}, {}},
    {"a = x\\\r\n   y\\\n# z\nb=1", {{"a", "xy# z"}, {"b", "1"}}, {}},
    {"a=x\\\\\nb=y\\\\\\\nc\nd=1\\ \ne=2", {{"a", "x\\"}, {"b", "y\\c"}, {"d", "1 "}}, {"c"}},
    {"a=2\\", {{"a", "2"}}, {}},
    {"a=x\\\n\nb=1\n\\\n\nc=2", {{"a", "x"}, {"b", "1"}, {"c", "2"}}, {""}},
    {"a\\ b\\:c\\=d=\\t\\n\\r\\f\\q\\\\\\#", {{"a b:c=d", "\t\n\r\fq\\#"}}, {}},
    {"a=\\u0041\\u00e4\\u20AC\\uD83D\\uDE00", {{"a", "A\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"}}, {}},
    {"a=\\uD83D\\u0078\\uDE00", {{"a", "\xEF\xBF\xBDx\xEF\xBF\xBD"}}, {}},
    {"a=\\u12g4\\u12\nb=\\\\u0041", {{"a", "u12g4u12"}, {"b", "\\u0041"}}, {}},
    {std::string("a=1\0x", 5), {{"a", std::string("1\0x", 3)}}, {}},
};

TEST(CppPropertiesTest, ReadsEveryFormOfPair) {
  const TempDir dir;
  for (const SyntaxCase& row : kSyntax) {
    SCOPED_TRACE(row.text);
    CppProperties properties(false);
    properties.load(dir.write("a.conf", row.text));
    for (const auto& [key, value] : row.pairs) {
      EXPECT_TRUE(properties.exist(key)) << key;
      EXPECT_EQ(properties.getProperty(key), value) << key;
    }
    for (const std::string& key : row.absent) EXPECT_FALSE(properties.exist(key)) << key;
  }
}

TEST(CppPropertiesTest, ReadsNumbers) {
  const TempDir dir;
  CppProperties properties(false);
  properties.load(dir.write("n.conf",
                            "plain=17\nminus=-3\nplus=+4\nblank=\\ 5\ntail=6 x\ntext=x1\nempty=\n"
                            "hex=0x10\nmax=2147483647\nover=2147483648\nunder=-2147483649\n"
                            "huge=99999999999999999999999\n"));
  const std::pair<const char*, int> rows[] = {
      {"plain", 17},       {"minus", -3},        {"plus", 4},   {"blank", 5},
      {"tail", 6},         {"text", 0},          {"empty", 0},  {"hex", 0},
      {"max", 2147483647}, {"over", 2147483647}, {"absent", 0}, {"under", -2147483647 - 1},
      {"huge", 2147483647}};
  for (const auto& [key, value] : rows) EXPECT_EQ(properties.getInt(key), value) << key;
}

TEST(CppPropertiesTest, FileThatCannotBeReadLeavesThePairsAsTheyWere) {
  const TempDir dir;
  CppProperties properties(false);
  properties.load(dir.write("a.conf", "a=1\nb=1\n"));
  EXPECT_THROW(properties.load(dir.path()), std::runtime_error);
  EXPECT_THROW(properties.load(dir.path() + "/none.conf"), std::runtime_error);
  kw::platform::failCall(kw::platform::Fault::kPropertiesLoad, 1);
  EXPECT_THROW(properties.load(dir.path() + "/a.conf"), std::bad_alloc);
  EXPECT_EQ(properties.getProperty("a"), "1");
  properties.load(dir.write("b.conf", "b=2\n"));
  EXPECT_EQ(properties.getProperty("a") + properties.getProperty("b"), "12");
}

TEST(CppPropertiesTest, SystemRootHoldsThePlatformsOwnFilesAlone) {
  const TempDir dir;
  dir.write("kw/etc/a.conf", "a=own\n");
  kw::platform::setSystemRoot(dir.path());
  CppProperties properties(false);
  properties.load("/kw/etc/a.conf");
  EXPECT_EQ(properties.getProperty("a"), "own");
  properties.load(dir.write("b.conf", "a=other\n"));
  EXPECT_EQ(properties.getProperty("a"), "other");
  kw::platform::setSystemRoot("");
  EXPECT_THROW(properties.load("/kw/etc/a.conf"), std::runtime_error);
}

}  // namespace
