// SPDX-License-Identifier: Apache-2.0
// The room that a ring is said to need is the size of its file.
#include "diagnosis/ring_place.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "kw/platform.h"
#include "kw/trx/testing/temp_dir.h"

namespace kw::trx::testing {
namespace {

TEST(RingPlaceTest, TellsTheRoomThatARingTakes) {
  const TempDir dir;
  const std::string file = dir.path() + "/ring";
  for (const std::size_t records : {1U, 100U, 128U, 129U, 5000U}) {
    ASSERT_EQ(kw::platform::openTraceRing(file, records), 0);
    EXPECT_EQ(tools::ringFileBytes(records), std::filesystem::file_size(file)) << records;
  }
  kw::platform::closeTraceRing();
}

}  // namespace
}  // namespace kw::trx::testing
