// SPDX-License-Identifier: Apache-2.0
// What the tool shows on a terminal.
#include <gtest/gtest.h>

#include <cstdlib>

#include "kw/trx/testing/temp_dir.h"
#include "tool.h"

namespace kw::trx::testing {
namespace {

TEST(TerminalTest, ShowsHowLongAWaitStillTakes) {
  if (std::system("script -qec true /dev/null >/dev/null 2>&1 </dev/null") != 0) {
    GTEST_SKIP() << "no terminal can be opened here";
  }
  const TempDir dir;
  dir.write("kw/etc/kwpath.conf", "path.trx.conf=" + dir.path() + "/trx.conf\n");
  dir.write("slow.csv", "FORMAT,0\nVERSION,1\n,1,START\n,2,WAIT,,250\n,3,END\n");
  for (const std::string handler : {"requester", "engine"}) {
    dir.write("trx.conf", "hapmodule.number=0\nhaptable.number=1\nhaptable.file.0=" + dir.path() +
                              "/slow.csv\nhaptable.tblcmd.wait.handler=" + handler + "\n");
    const std::string terminal = "cd '" + dir.path() +
                                 "' && script -qec \"" TRXCTL
                                 " table slow --root .\" /dev/null >out 2>&1 </dev/null";
    EXPECT_EQ(std::system(terminal.c_str()), 0);
    const std::string shown = readFile(dir.path() + "/out");
    const std::size_t wait = shown.find("waits, 0.2 s left");
    EXPECT_LT(wait, shown.find("\r\x1b[K", wait)) << handler << shown;
    EXPECT_EQ(shown.find("waits,", shown.find("   3  END")), std::string::npos) << shown;
  }
}

}  // namespace
}  // namespace kw::trx::testing
