// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/logger.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <sstream>
#include <vector>

#include "kw/platform.h"
#include "kw/trx/testing/trace_capture.h"

namespace kw::clib_trx {
namespace {

/// Every record as "region level class id length: first word".
class RawCapture {
 public:
  RawCapture() { kw::platform::setTraceListener(&RawCapture::record, this); }
  RawCapture(const RawCapture&) = delete;
  RawCapture& operator=(const RawCapture&) = delete;
  ~RawCapture() { kw::platform::setTraceListener(nullptr, nullptr); }

  std::vector<std::string> lines;

 private:
  static void record(void* context, unsigned long region, unsigned int level,
                     unsigned short trace_class, unsigned long id, const void* data, int length) {
    std::ostringstream line;
    line << region << ' ' << std::hex << level << ' ' << trace_class << ' ' << id << ' ' << std::dec
         << length << ':' << std::hex;
    for (int at = 0; at + 4 <= length; at += 4) {
      std::uint32_t word = 0;
      std::memcpy(&word, static_cast<const char*>(data) + at, sizeof(word));
      line << ' ' << word;
    }
    static_cast<RawCapture*>(context)->lines.push_back(line.str());
  }
};

TEST(LoggerTest, WritesEachRecordFormWithItsLevel) {
  RawCapture capture;
  Logger logger;
  const unsigned char block[] = {1, 0, 0, 0, 2};
  const auto* address = reinterpret_cast<const void*>(0x1234);
  logger.debug(1UL, 1, 2, 3, 4);
  logger.error(-1, 0x1001008UL, "A name");
  logger.info(-1, 2UL, -1, 0, 0, 0);
  logger.debug(-1, 3UL, 1UL, 2UL, 3UL, 4UL);
  logger.debug2(-1, 4UL, 1UL, 2UL, 3UL, 4UL, 5UL, 6UL, 7UL, 8UL);
  logger.error(-1, 5UL, -1, 2, 3, 4, 5, 6, 7, -8);
  logger.info(6UL, block, 5);
  logger.debug2(-1, 7UL, "");
  logger.error(8UL, address, 1UL, 2UL, 3UL);
  logger.error(9UL, address, address, address, address);
  const std::vector<std::string> expected = {
      "0 801 7 1 16: 1 2 3 4",
      "101 8002 7 1001008 7: 616e2041",
      "101 8001 7 2 16: ffffffff 0 0 0",
      "101 801 7 3 16: 1 2 3 4",
      "101 1 7 4 32: 1 2 3 4 5 6 7 8",
      "101 8002 7 5 32: ffffffff 2 3 4 5 6 7 fffffff8",
      "101 8001 7 6 5: 1",
      "101 1 7 7 1:",
      "101 8002 7 8 16: 1234 1 2 3",
      "101 8002 7 9 16: 1234 1234 1234 1234",
  };
  EXPECT_EQ(capture.lines, expected);
}

TEST(LoggerTest, CallsAnOverrideThroughTheRegionOverload) {
  class Doubling : public Logger {
   public:
    using Logger::error;
    int error(unsigned long id, const char* text) const override {
      return Logger::error(id + 1, text);
    }
  };
  RawCapture capture;
  Doubling doubling;
  Logger& logger = doubling;
  logger.error(-1, 0x10UL, "");
  EXPECT_EQ(capture.lines, std::vector<std::string>{"101 8002 7 11 1:"});
}

TEST(LoggerTest, KeepsTheLowWordOfWideValues) {
  RawCapture capture;
  const unsigned long wide = static_cast<unsigned long>(0x1122334455667788ULL);
  Logger::getLogger()->error(-1, 1UL, wide, 0UL, 0UL, 0UL);
  EXPECT_EQ(capture.lines, std::vector<std::string>{"101 8002 7 1 16: 55667788 0 0 0"});
}

TEST(LoggerTest, PrintsTextWithoutTraceRecord) {
  RawCapture capture;
  Logger logger;
  ::testing::internal::CaptureStdout();
  logger.error("m");
  logger.info("m");
  logger.debug("m");
  logger.debug2("m");
  logger.log("%s", "");
  logger.log("%d and %s", 7, "more");
  logger.log("%s", std::string(600, 'x').c_str());
  const std::string printed = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(printed, "[error] m\n[info ] m\n[debug] m\n[debug2] m\n[trace] 7 and more\n[trace] " +
                         std::string(510, 'x') + "\n");
  EXPECT_TRUE(capture.lines.empty());
}

}  // namespace
}  // namespace kw::clib_trx
