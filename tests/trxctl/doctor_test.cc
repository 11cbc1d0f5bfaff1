// SPDX-License-Identifier: Apache-2.0
// What is wrong on a machine is told with a way out.
#include <gtest/gtest.h>

#include "kw/trx/testing/temp_dir.h"
#include "tool.h"

namespace kw::trx::testing {
namespace {

TEST(DoctorTest, EveryTroubleIsToldWithAWayOut) {
  struct Trouble {
    const char* lines;  ///< of the configuration
    const char* options;
    const char* told;  ///< lines in their order; empty: none but good ones
    const char* status;
  };
  const Trouble troubles[] = {
      {"hapmodule.number=1\nhapmodule.file.0=" MODULE_TST
       "\nhaptable.number=1\nhaptable.file.0=DIR/good.csv\n",
       "--strict --ring DIR/new.ring", "", "= 0\n"},
      {"hapmodule.number=x\n", "",
       "warning: configuration: DIR/trx.conf:1: |    do: see trxctl config|"
       "error: configuration: path file and configuration: |    do: fix what trxctl config names",
       "= 2\n"},
      {"hapmodule.number=2\nhapmodule.file.0=" MODULE_TORN
       "\nhapmodule.file.1=DIR/libzq_hap_no.so\n"
       "haptable.number=3\nhaptable.file.0=DIR/bad.csv\nhaptable.file.1=DIR/odd.csv\n"
       "haptable.file.2=DIR/torn.csv\n",
       "",
       "error: module: " MODULE_TORN ": nothing defines the symbol|"
       "; its HAPs are called by the table torn|    do: fix or replace it, or install what it "
       "needs|"
       "error: module: DIR/libzq_hap_no.so: No such file or directory|    do: fix or replace it, "
       "or install what it needs|"
       "error: table: DIR/bad.csv: no row has VERSION|    do: fix the file|"
       "warning: table: DIR/odd.csv:4: no table 'gone'|    do: fix the row|"
       "warning: table: DIR/torn.csv:4: the module that exports the HAP 'TORN_Ok' would not load|"
       "warning: table: DIR/torn.csv:5: no listed module exports the HAP 'TORN_None': the module "
       "file |"
       "does not export it, and would not load",
       "= 2\n"},
      {"hapmodule.number=0\nhaptable.number=0\n", "--ring DIR",
       "ok: lock: exclusion is off|error: place for the ring: DIR: is no regular file|    do: give "
       "the host a file",
       "= 2\n"},
      {"hapmodule.number=0\nhaptable.number=0\n", "--ring DIR/none/x.ring",
       "error: place for the ring: DIR/none/x.ring: cannot be made in DIR/none: No such file|    "
       "do: give",
       "= 2\n"},
  };
  const TempDir dir;
  dir.write("kw/etc/kwpath.conf", "path.trx.conf=" + dir.path() + "/trx.conf\n");
  dir.write("good.csv", "FORMAT,0\nVERSION,1\n,1,START\n,2,END\n");
  dir.write("bad.csv", "FORMAT,0\n,1,START\n,2,END\n");
  dir.write("odd.csv", "FORMAT,0\nVERSION,1\n,1,START\n,2,TABLE,gone\n,3,END\n");
  dir.write("torn.csv",
            "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,TORN_Ok\n,3,HAP,TORN_None\n,4,END\n");
  for (const Trouble& trouble : troubles) {
    dir.write("trx.conf", replaced(trouble.lines, "DIR", dir.path()));
    const std::string told =
        runTool("doctor --root . " + replaced(trouble.options, "DIR", dir.path()), dir.path());
    EXPECT_EQ(told.substr(told.rfind("= ")), trouble.status) << told;
    std::string expected = replaced(trouble.told, "DIR", dir.path());
    std::size_t at = 0;
    for (std::size_t end = 0; end != std::string::npos && !expected.empty();) {
      end = expected.find('|');
      const std::string line = expected.substr(0, end);
      at = told.find(line, at);
      EXPECT_NE(at, std::string::npos) << line << " is not told, or not there:\n" << told;
      expected.erase(0, end == std::string::npos ? end : end + 1);
    }
    if (*trouble.told == '\0') {
      EXPECT_EQ(told.find("    do: "), std::string::npos) << told;
    }
  }
}

}  // namespace
}  // namespace kw::trx::testing
