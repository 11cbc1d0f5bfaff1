// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/table_data.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <functional>
#include <istream>
#include <limits>

#include "kw/trx/table_format.h"
#include "kw/trx/testing/temp_dir.h"
#include "kw/trx/testing/trace_capture.h"
#include "kw/util/config/comma_separated_values.h"

namespace {

/// What another platform's reader does with its stream before it reads it; empty: nothing.
std::function<void(std::istream&)> handle_first;

/// The most cells that it says a row has; the rows themselves may have more.
int most_columns = std::numeric_limits<int>::max();

/// The function of the platform library that one of the same name here hides.
template <typename Function>
Function* next(const char* symbol) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, symbol));
}

}  // namespace

namespace kw::util::config {

// In place of those of the platform library, which they call.
int CommaSeparatedValues::load(std::istream& in) {
  if (handle_first) {
    handle_first(in);
  }
  return next<int(CommaSeparatedValues*, std::istream&)>(
      "_ZN2kw4util6config20CommaSeparatedValues4loadERSi")(this, in);
}
int CommaSeparatedValues::columnCount(int row) const {
  return std::min(most_columns,
                  next<int(const CommaSeparatedValues*, int)>(
                      "_ZNK2kw4util6config20CommaSeparatedValues11columnCountEi")(this, row));
}
const std::vector<std::string>& CommaSeparatedValues::operator[](int row) const {
  EXPECT_NE(columnCount(row), 0) << "row " << row << " has no cells";
  return next<const std::vector<std::string>&(const CommaSeparatedValues*, int)>(
      "_ZNK2kw4util6config20CommaSeparatedValuesixB5cxx11Ei")(this, row);
}

}  // namespace kw::util::config

namespace kw::trx::testing {
namespace {

TEST(TableDataTest, LoadsCSVFilesAndReadsMissingCellsAsEmpty) {
  TempDir dir;
  const std::string some = dir.write("some.CsV", "a,b\n\nc\n").substr(1);
  TraceCapture capture;
  trx::TableData data;
  EXPECT_EQ(data.getMember(0, 0), "");
  EXPECT_EQ(data.getTblDefKey("a"), -1);
  EXPECT_EQ(data.rowSize(), 0U);
  EXPECT_EQ(data.columnSize(0), 0);
  EXPECT_EQ(data.load(dir.path() + "/none.csv"), -1);
  EXPECT_EQ(data.load(dir.path() + "/list"), -1);
  EXPECT_EQ(data.load(some), 0);
  EXPECT_EQ(data.load(""), -1);
  EXPECT_EQ(data.rowSize(), 3U) << "an empty path leaves the file held";
  EXPECT_EQ(data.getTblDefKey(""), -1);
  EXPECT_EQ(capture.trail(),
            "d a004000 (id 0 0 0)\nE a005000 (id 0 0 0)\nE a002000 (id 0 0 0)\n"
            "E a003000 (id 0 0 0)\nE a001000 \"none.csv\"\nE a000001 (id 0 0 0)\n"
            "E a000000 (id 0 0 0)\nE a005001 (id 0 0 0)\n");
  const unsigned int negative = 0x80000000;
  EXPECT_EQ(data.getMember(0, 1) + data.getMember(2, 0) + data.getMember(1, 0), "bc");
  EXPECT_EQ(data.getMember(negative, 0) + data.getMember(0, negative), "");
  EXPECT_EQ(data.getMember(0, 2), "");
  EXPECT_EQ(data.getMember(3, 1), "");
  EXPECT_EQ(data.columnSize(0), 2);
  EXPECT_EQ(data.load(dir.write("x.txt", "a\n")), -1);
  EXPECT_EQ(data.getMember(0, 0), "") << "any other failure forgets the file";
  EXPECT_EQ(data.load(dir.write("empty.csv", "")), 0);
  EXPECT_EQ(data.getMember(3, 4), "");
  EXPECT_EQ(capture.trail(),
            "d a004004 (id 0 2 1)\nd a004002 (id 3 1 2)\nE a000001 (id 0 0 0)\n"
            "d a004000 (id 0 0 0)\nd a004001 (id 3 4 0)\n");
}

TEST(TableDataTest, HeaderKeysAreHexadecimalNumbersOfThirtyTwoBits) {
  TempDir dir;
  const std::string not_once = "E a005002 \"K\"\n";
  const std::string length = "E a005003 \"K\"\n";
  const std::string not_hex = "E a005004 \"K\"\n";
  struct Case {
    std::string rows;
    int value;
    std::string trail;
  };
  const Case cases[] = {
      {"K,00\n", 0, ""},
      {"a\nK,0X00001f,x\n", 31, ""},
      {"K,-2\n", -2, ""},
      {"K,ffffffff\n", -1, ""},
      {"K,000000001\n", -1, length},
      {"K\n", -1, "d a004004 (id 0 1 0)\n" + length},
      {"K,1g\n", -1, not_hex},
      {"K,1 \n", -1, not_hex},
      {"K,0x\n", -1, not_hex},
      {std::string("K,1\0", 4) + "\n", -1, not_hex},
      {"k,1\n K,1\na,K\n", -1, not_once},
      {"K,1\nx\nK,1\n", -1, not_once},
  };
  for (const Case& c : cases) {
    trx::TableData data;
    EXPECT_EQ(data.load(dir.write("f.csv", c.rows)), 0);
    TraceCapture capture;
    EXPECT_EQ(data.getTblDefKey("K"), c.value) << c.rows;
    EXPECT_EQ(capture.trail(), c.trail) << c.rows;
  }
}

TEST(TableDataTest, ReaderMaySeekAndUngetInItsStream) {
  constexpr int kRows = 10000;
  std::string text;
  for (int row = 0; row < kRows; ++row) {
    text += "cell," + std::to_string(row) + "\n";
  }
  TempDir dir;
  const std::string file = dir.write("large.csv", text);
  std::string read;
  handle_first = [&read](std::istream& in) {
    in.seekg(0, std::ios::end);
    const auto size = static_cast<std::size_t>(in.tellg());
    in.seekg(0);
    for (int c; (c = in.get()) != std::istream::traits_type::eof();) {
      in.unget();
      EXPECT_EQ(in.peek(), c);
      read += static_cast<char>(in.get());
    }
    EXPECT_EQ(size, read.size());
    in.clear();
    in.seekg(0);
  };
  trx::TableData data;
  EXPECT_EQ(data.load(file), 0);
  handle_first = nullptr;
  EXPECT_TRUE(read == text);
  EXPECT_EQ(data.rowSize(), static_cast<unsigned int>(kRows));
  EXPECT_EQ(data.getMember(kRows - 1, 1), std::to_string(kRows - 1));
}

TEST(TableDataTest, ARowHasTheCellsThatTheReaderCounts) {
  TempDir dir;
  auto* data = new trx::TableData;
  trx::TblFmt00 format("t", data);
  ASSERT_EQ(data->load(dir.write("t.csv", "FORMAT,0\nVERSION,1\n,1,START,,,,,x\n,2,END,,,,,x\n")),
            0);
  EXPECT_EQ(format.checkFormat(), -1) << "RSV1 must be empty";
  most_columns = 7;
  TraceCapture capture(kw::platform::kTraceDebug2);
  EXPECT_EQ(data->getMember(2, 7), "");
  EXPECT_EQ(capture.trail(), "d a004004 (id 2 7 6)\n");
  EXPECT_EQ(format.checkFormat(), 0);
  most_columns = std::numeric_limits<int>::max();
}

}  // namespace
}  // namespace kw::trx::testing
