// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "kw/ntz_hash64.h"
#include "kw/sysobj/component.h"
#include "kw/sysobj/tree_path.h"

namespace {

TEST(SystemObjectTest, PathNamesTheObjectFromTheRootOn) {
  const kw::sysobj::Component root(1, 0, "system");
  const kw::sysobj::Component rack(2, 1, "rack", &root);
  const kw::sysobj::Component unit(303, 7, "unit7", &rack);
  kw::sysobj::TreePath path;
  EXPECT_EQ(path.toString(), "");
  unit.getTreePath(path);
  EXPECT_EQ(path.toString(), "system/rack/unit7");
  root.getTreePath(path);
  EXPECT_EQ(path.toString(), "system");
  EXPECT_EQ(unit.getType(), 303);
  EXPECT_EQ(unit.getNo(), 7);
}

TEST(NtzHash64Test, FindsTheLowestBitInAll64) {
  EXPECT_EQ(ntz_hash64(0), 64);
  for (int bit = 0; bit < 64; ++bit) EXPECT_EQ(ntz_hash64(~0ULL << bit), bit);
}

}  // namespace
