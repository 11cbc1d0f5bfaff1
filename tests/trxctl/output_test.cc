// SPDX-License-Identifier: Apache-2.0
// What commands write, and what they leave as it is.
#include <sys/stat.h>
#include <unistd.h>

#include "command_fixture.h"

namespace kw::trx::testing {
namespace {

class OutputTest : public CommandTest {
 protected:
  OutputTest() {
    configure({"flow.csv"});
    writeTable("flow.csv", ",1,START\n,2,HAP,TST_Ok\n,3,END\n");
    dir.write("flow.cases.csv", "TABLES,flow.csv\nCASE,all\nEND,ok\n");
    run("table flow --root . --ring a.ring >/dev/null");
    run("coverage flow.cases.csv -o a.info >/dev/null");
  }

  /// What stands in all files.
  std::string contents() const {
    std::string all = run("trace a.ring");
    for (const char* const file : {"/flow.csv", "/flow.cases.csv", "/a.info"}) {
      all += readFile(dir.path() + file);
    }
    return all;
  }
};

TEST_F(OutputTest, NoInputAndNoRingIsReplaced) {
  const char* const commands[] = {
      "graph flow.csv -o flow.csv",
      "graph flow.csv --trace a.ring -o a.ring",
      "graph flow.csv --coverage a.info -o a.info",
      "trace a.ring --perfetto a.ring",
      "replay a.ring flow.csv --request 0x0.1 -o a.ring",
      "replay a.ring flow.csv --request 0x0.1 -o flow.csv",
      "replay a.ring flow.csv --request 0x0.1 -o ./sub/../flow.csv",
      "coverage flow.cases.csv -o flow.cases.csv",
      "coverage a.info -o a.info",
      "test flow.cases.csv --junit flow.cases.csv",
      "report a.ring --tables flow.csv -o a.ring",
      "report a.ring -o linked.html",
  };
  dir.write("sub/any", "");
  ASSERT_EQ(symlink("a.ring", (dir.path() + "/linked.html").c_str()), 0);
  for (const char* const command : commands) {
    for (const char* const force : {"", " --force"}) {
      const std::string before = contents();
      const std::string said = run(std::string(command) + force);
      EXPECT_EQ(said.substr(said.size() - 4), "= 2\n") << command << '\n' << said;
      EXPECT_EQ(contents(), before) << command;
    }
  }
}

TEST_F(OutputTest, AFileOfAnotherKindStaysUnlessItIsForced) {
  dir.write("notes.svg", "precious");
  EXPECT_EQ(run("graph flow.csv -o notes.svg"),
            "! trxctl: notes.svg holds something else; add --force to replace it\n= 2\n");
  EXPECT_EQ(readFile(dir.path() + "/notes.svg"), "precious");
  EXPECT_EQ(run("graph flow.csv -o notes.svg --force"), "= 0\n");
  EXPECT_EQ(run("graph flow.csv -o notes.svg"), "= 0\n") << "its own kind";
}

TEST_F(OutputTest, AFileIsWrittenWholeWithTheRightsThatItHad) {
  const std::string file = dir.path() + "/a.info";
  ASSERT_EQ(chmod(file.c_str(), 0640), 0);
  run("coverage flow.cases.csv -o a.info");
  struct stat facts {};
  ASSERT_EQ(stat(file.c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 0777, 0640U);
  EXPECT_EQ(outputOf("coverage flow.cases.csv -o -", dir.path()), readFile(file));
  EXPECT_EQ(run("graph flow.csv -o /dev/full"),
            "! trxctl: /dev/full: No space left on device\n= 2\n");
  EXPECT_EQ(run("graph flow.csv -o no.dot; ls -A | grep no.dot."), "= 1\n") << "no part is left";
}

}  // namespace
}  // namespace kw::trx::testing
