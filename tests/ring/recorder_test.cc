// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "kw/ring_reader.h"
#include "kw/trx/testing/temp_dir.h"

namespace {

using kw::platform::RingReader;
using kw::platform::TraceRecord;

/// The records of each thread in their order, as text without what differs from ring to ring.
using Threads = std::map<std::pair<std::uint32_t, std::uint32_t>, std::vector<std::string>>;

class RecorderTest : public testing::Test {
 protected:
  RecorderTest() { std::filesystem::create_symlink(RECORDER, recorder_); }

  /// Runs `command`, behind what it has in its environment, as a child of a shell that has that
  /// too. Returns its status and what it wrote to standard error.
  std::string run(const std::string& environment, const std::string& command) const {
    const std::string line = "env " + environment +
                             " ASAN_OPTIONS=verify_asan_link_order=0 sh -c \"" + command +
                             "; exit \\$?\" 2>" + errors_;
    const int status = std::system(line.c_str());
    std::ifstream in(errors_);
    std::string text;
    for (std::string error; std::getline(in, error);) {
      // The loader of an emulator, or of the shell around one, is one of another machine.
      if (error.find("wrong ELF class") == std::string::npos) text += error + "\n";
    }
    return text + std::to_string(WEXITSTATUS(status));
  }

  static Threads read(const std::string& ring) {
    RingReader reader;
    EXPECT_EQ(reader.open(ring), 0) << ring;
    Threads threads;
    for (TraceRecord record; reader.next(record);) {
      threads[{record.process_id, record.thread_id}].push_back(
          std::to_string(record.region) + " " + std::to_string(record.level) + " " +
          std::to_string(record.trace_class) + " " + std::to_string(record.id) + " " +
          std::string(record.data.begin(), record.data.end()));
    }
    EXPECT_EQ(reader.lost(), 0U);
    return threads;
  }

  static std::size_t countOf(const Threads& threads) {
    std::size_t count = 0;
    for (const auto& thread : threads) count += thread.second.size();
    return count;
  }

  const kw::trx::testing::TempDir dir_;
  const std::string errors_ = dir_.path() + "/errors";
  const std::string of_platform_ = dir_.path() + "/platform.ring";
  const std::string ring_ = dir_.path() + "/recorder.ring";
  const std::string recorder_ = dir_.path() + "/recorder.so";  // a path without a blank
  const std::string preload_ = "LD_PRELOAD=" + recorder_ + " ZQM_TRX_RECORD_FILE=" + ring_;
};

TEST_F(RecorderTest, KeepsWhatThePlatformKeeps) {
  const struct {
    std::string environment, command;
  } cases[] = {
      {preload_, HOST_WITH_PLATFORM " " + of_platform_},
      {"ZQM_TRX_RECORD_FILE=" + ring_, HOST_WITH_BOTH " " + of_platform_},
      {"A=", HOST_WITH_BOTH " " + of_platform_ + " " + ring_},
      {preload_, HOST_WITH_BOTH " " + of_platform_},  // loaded once
  };
  for (const auto& host : cases) {
    SCOPED_TRACE(host.environment + " " + host.command);
    EXPECT_EQ(run(host.environment, host.command), "7");
    Threads expected = read(of_platform_);
    EXPECT_EQ(expected.size(), 3U);
    for (auto& thread : expected) {  // behind the end of the recording
      auto& records = thread.second;
      if (records.back() == "101 1 7 6000 ") records.pop_back();
    }
    EXPECT_EQ(countOf(expected), 200U);
    EXPECT_EQ(read(ring_), expected);
    std::remove(ring_.c_str());
  }
}

TEST_F(RecorderTest, WorksWithoutAPlatformFromTheFirstRecordOn) {
  EXPECT_EQ(run("ZQM_TRX_RECORD_FILE=" + ring_, HOST_ALONE " -"), "7");
  EXPECT_EQ(countOf(read(ring_)), 200U);
  EXPECT_EQ(run("A=", HOST_ALONE " -"), "7");  // nothing is asked for
}

TEST_F(RecorderTest, KeepsTheLevelsAskedForAndThePlatformAll) {
  EXPECT_EQ(run(preload_ + " ZQM_TRX_RECORD_LEVEL=info", HOST_WITH_PLATFORM " " + of_platform_),
            "7");
  EXPECT_EQ(countOf(read(ring_)), 100U);
  EXPECT_EQ(countOf(read(of_platform_)), 200U);
}

TEST_F(RecorderTest, RefusesWhatItCannotDoAndTheHostRuns) {
  dir_.write("there", "precious");
  const std::string there = dir_.path() + "/there";
  const struct {
    std::string environment, error;
  } cases[] = {
      {"ZQM_TRX_RECORD_FILE=" + there, there + ": File exists"},
      {"ZQM_TRX_RECORD_FILE=" + dir_.path(), dir_.path() + ": Is a directory"},
      {"ZQM_TRX_RECORD_FILE=" + ring_ + "/none", ring_ + "/none: No such file or directory"},
      {"ZQM_TRX_RECORD_SIZE=99999999", ring_ + ": Invalid argument"},
      {"ZQM_TRX_RECORD_SIZE=1x", "ZQM_TRX_RECORD_SIZE: is not understood"},
      {"ZQM_TRX_RECORD_LEVEL=all", "ZQM_TRX_RECORD_LEVEL: is not understood"},
  };
  for (const auto& refused : cases) {
    EXPECT_EQ(run(preload_ + " " + refused.environment, HOST_WITH_PLATFORM " " + of_platform_),
              "libzqm_trx_recorder: " + refused.error + "; nothing is recorded\n7");
    EXPECT_EQ(countOf(read(of_platform_)), 200U);
    EXPECT_NE(RingReader().open(ring_), 0);
  }
  std::ifstream in(there);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "precious");
}

}  // namespace
