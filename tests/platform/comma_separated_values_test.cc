// SPDX-License-Identifier: Apache-2.0
#include "kw/util/config/comma_separated_values.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "kw/trx/testing/temp_dir.h"

using kw::trx::testing::TempDir;
using kw::util::config::CommaSeparatedValues;

namespace {

/// The rows from `first` on, each cell as <text> and each row ended by ";".
std::string parse(const std::string& text, int first = 0) {
  std::istringstream in(text);
  CommaSeparatedValues csv;
  EXPECT_EQ(csv.load(in), 0);
  EXPECT_EQ(csv.size(), csv.rowCount());
  std::string out;
  for (int row = first; row < csv.rowCount(); ++row) {
    EXPECT_EQ(static_cast<std::size_t>(csv.columnCount(row)), csv[row].size());
    for (const std::string& cell : csv[row]) out += "<" + cell + ">";
    out += ";";
  }
  return out;
}

struct ParseCase {
  std::string text;
  std::string rows;
};

const ParseCase kCases[] = {
    {"", ""},
    {"a", "<a>;"},
    {"a,b\nc\n", "<a><b>;<c>;"},
    {"a,b\r\nc,d\re,f\ng", "<a><b>;<c><d>;<e><f>;<g>;"},
    {"\n\r\n\ra\n\n", ";;;<a>;;"},
    {"a\r\r\nb\n\rc", "<a>;;<b>;;<c>;"},
    {",\na,\n,,", "<><>;<a><>;<><><>;"},
    {" a , b\t\n \n", "< a >< b\t>;< >;"},
    {"\"a,b\",\"c\"\"d\",\"\"\n\"\"", "<a,b><c\"d><>;<>;"},
    {"\"a\nb\r\nc\rd\",e\r\nf", "<a\nb\r\nc\rd><e>;<f>;"},
    {"\"\"\"\",\"\"\"a\"\"\"", "<\"><\"a\">;"},
    {"a\"b\",\"c\"d\"e,f\n \"g\"", "<a\"b\"><cd\"e><f>;< \"g\">;"},
    {"a,\"b,c\nd\"\"", "<a><b,c\nd\">;"},
    {"\"a\"\r\n\"", "<a>;<>;"},
    {std::string("a\0b,\0\n", 6), std::string("<a\0b><\0>;", 9)},
    {"\xC3\xA4,\xFF", "<\xC3\xA4><\xFF>;"},
};

TEST(CommaSeparatedValuesTest, ReadsEveryFormOfRow) {
  for (const ParseCase& row : kCases) {
    EXPECT_EQ(parse(row.text), row.rows) << row.text;
    EXPECT_EQ(parse("\xEF\xBB\xBF" + row.text), row.rows) << row.text;
  }
}

TEST(CommaSeparatedValuesTest, TextMayBeCutAnywhereBetweenTwoBlocks) {
  constexpr std::size_t kBlockBytes = 65536;
  for (const ParseCase& row : kCases) {
    for (std::size_t cut = 0; cut <= row.text.size(); ++cut) {
      const std::string first_row(kBlockBytes - 1 - cut, 'x');
      EXPECT_EQ(parse(first_row + "\n" + row.text, 1), row.rows) << row.text << " at " << cut;
    }
  }
}

TEST(CommaSeparatedValuesTest, StreamThatCannotBeReadHasNoRows) {
  const TempDir dir;
  std::ifstream directory(dir.path());
  std::ifstream missing(dir.path() + "/none.csv");
  CommaSeparatedValues csv;
  for (std::istream* in : {&directory, &missing}) {
    std::istringstream former("a,b\n");
    csv.load(former);
    EXPECT_EQ(csv.columnCount(0), 2);
    EXPECT_EQ(csv.load(*in), 0);
    EXPECT_EQ(csv.rowCount(), 0);
    EXPECT_EQ(csv.columnCount(0) + csv.columnCount(-1), 0);
  }
}

}  // namespace
