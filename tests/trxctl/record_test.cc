// SPDX-License-Identifier: Apache-2.0
// Hosts that the tool starts with the recorder; here the tool itself is the host.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "command_fixture.h"

namespace kw::trx::testing {
namespace {

class RecordTest : public CommandTest {
 protected:
  RecordTest() {
    setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 0);
    writeTable("t.csv", ",1,START\n,2,HAP,TST_Ok,,,3\n,3,END\n");
    configure({"t.csv"});
    writeScript("run.sh", "echo run; exit 9");
    writeScript("quiet.sh", TRXCTL " hap NO_Such --root . >/dev/null; exit 8");
  }

  /// A host that starts others. The shell itself may be a program of another machine than the tool.
  void writeScript(const std::string& name, const std::string& commands) const {
    dir.write(name, "#!/bin/sh\n" + commands + "\n");
    std::filesystem::permissions(dir.path() + "/" + name, std::filesystem::perms::owner_all);
  }

  /// The same without what the loader of another machine says, under an emulator.
  std::string record(const std::string& arguments) const {
    std::istringstream in(run("record " + arguments));
    std::string text;
    for (std::string line; std::getline(in, line);) {
      text += line.find("wrong ELF class") == std::string::npos ? line + "\n" : "";
    }
    return text;
  }

  /// The records of a ring without their times.
  std::string recordsOf(const std::string& ring) const {
    std::istringstream in(run("trace " + ring));
    std::string text;
    for (std::string line; std::getline(in, line);) {
      const std::size_t behind_time = line.rfind("20", 0) == 0 ? line.find(' ', 11) : 0;
      text += line.substr(behind_time) + "\n";
    }
    return text;
  }
};

TEST_F(RecordTest, RingHoldsWhatThePlatformGets) {
  EXPECT_EQ(
      record("-o a.ring --size 4096 -- " TRXCTL " hap TST_Ok --root . --results 1 --ring b.ring"),
      "HAP TST_Ok succeeded\n  result word 0: 0 (0x0)\n= 0\n");
  const std::string records = recordsOf("a.ring");
  const std::string of_platform = recordsOf("b.ring");  // opened behind the first records
  ASSERT_LT(of_platform.size(), records.size());
  EXPECT_EQ(records.substr(records.size() - of_platform.size()), of_platform);
  EXPECT_NE(records.find("HAP TST_Ok"), std::string::npos) << records;
  EXPECT_EQ(record("-o c.ring --level error -- ./quiet.sh"), "= 8\n");
  EXPECT_EQ(run("trace --level error c.ring"), run("trace c.ring"));
  EXPECT_EQ(run("trace --summary a.ring --root .").rfind("! ", 0), std::string::npos);
}

TEST_F(RecordTest, WithoutARecordThereIsNoRing) {
  EXPECT_EQ(record("-o a.ring -- ./run.sh"), "run\n= 9\n");
  EXPECT_FALSE(std::filesystem::exists(dir.path() + "/a.ring"));
  EXPECT_EQ(record("--root . -- ./quiet.sh"), "= 8\n");
  EXPECT_NE(recordsOf("trace.ring").find("HAP NO_Such"), std::string::npos);
}

TEST_F(RecordTest, OtherFilesStay) {
  dir.write("text", "precious");
  run("hap TST_Ok --root . --ring old.ring");
  const std::string old = recordsOf("old.ring");
  const struct {
    const char* arguments;
    const char* error;
  } cases[] = {
      {"-o old.ring -- ./run.sh",
       "DIR/old.ring is there; name another file with -o, or remove it with --force"},
      {"--force -o text -- ./run.sh",
       "DIR/text is there and is no trace ring; name another file with -o"},
      {"--force -o old.ring -- ./no_host", "./no_host: no such program"},
      {"--force -o old.ring -- no_host", "no_host: no such program"},
      {"-o no/new.ring -- ./run.sh", "DIR/no: No such file or directory"},
  };
  for (const auto& [arguments, error] : cases) {
    EXPECT_EQ(record(arguments), "! trxctl: " + std::string(error) + "\n= 2\n");
  }
  EXPECT_EQ(readFile(dir.path() + "/text"), "precious");
  EXPECT_EQ(recordsOf("old.ring"), old);
  EXPECT_EQ(record("--force -o old.ring -- ./quiet.sh"), "= 8\n");
  EXPECT_NE(recordsOf("old.ring").find("NO_Such"), std::string::npos);
}

}  // namespace
}  // namespace kw::trx::testing
