// SPDX-License-Identifier: Apache-2.0
// Loading and running while each allocation in turn fails: nothing may be lost or freed twice.
#include <atomic>
#include <cstdlib>
#include <new>

#include "kw/trx/table_controller.h"
#include "table_fixture.h"

namespace {
std::atomic<long> living{0};
std::atomic<long> until_failure{0};
}  // namespace

void* operator new(std::size_t size) {
  void* block = until_failure != 0 && --until_failure == 0 ? nullptr : std::malloc(size + 1);
  if (block == nullptr) throw std::bad_alloc();
  ++living;
  return block;
}

void operator delete(void* block) noexcept {
  living -= block != nullptr ? 1 : 0;
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept { operator delete(block); }

namespace kw::trx::testing {
namespace {

class AllocationTest : public TableFixture {
 protected:
  /// Calls `work` with its 1st, 2nd, ... allocation failing, until it gets through.
  static void failEachAllocation(const std::function<void()>& work) {
    work();
    long nth = 0;
    for (bool done = false; !done;) {
      const long before = living;
      until_failure = ++nth;
      try {
        work();
        done = until_failure != 0;
      } catch (const std::bad_alloc&) {
      }
      until_failure = 0;
      ASSERT_EQ(living, before) << "allocation " << nth;
    }
    EXPECT_GT(nth, 10);
  }
};

TEST_F(AllocationTest, NothingIsLost) {
  load({}, "haptable.loading.err.mode=continue\n");
  std::vector<std::string> files = {
      dir.write("a.csv", kHead + ",1,START\n,2,HAP,TBL_Run,mode_too_long_for_a_short_text,to,1 ff\n"
                                 ",3,TABLE,a_table_with_a_name_that_is_long\n,5,CHECK,,,to\n"
                                 "to,6,WAIT,,0\n,7,END,a_message_too_long_for_a_short_text\n"),
      dir.write("bad.csv", kHead + ",1,START\n"), dir.write("sub/a.csv", kHead),
      dir.write("a_table_with_a_name_that_is_long.csv", kHead + ",1,START\n,2,END\n")};
  trx::TableController controller;
  failEachAllocation([&] { trx::TableController().load(files); });
  controller.load(files);
  failEachAllocation([&] {
    trx::TRXInfo info;
    follow(info, [](trx::TRXInfo*, const std::string&, const unsigned int*) { return 0; });
    info.setTableName("a");
    try {
      controller.execTable(&info);
    } catch (const trx::TRXException& end) {
      EXPECT_EQ(end.getCode(), trx::kCodeTableFailed);
    }
  });
}

}  // namespace
}  // namespace kw::trx::testing
