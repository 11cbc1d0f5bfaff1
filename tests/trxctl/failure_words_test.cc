// SPDX-License-Identifier: Apache-2.0
// A failure is told with the same words, whichever command tells of it.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "command_fixture.h"

namespace kw::trx::testing {
namespace {

using nlohmann::json;

TEST_F(CommandTest, AFailureHasTheSameWordsInEveryCommand) {
  const struct {
    std::string hap, para, code, meaning, detail;
  } cases[] = {
      {"ADC_Expect", "c80 8", "0x20003", "the voltage is out of its limits",
       "detail: 0x0 0xc80 (3200) 0x8"},
      {"ADC_Calibrate", "", "0x40001", "the converter is broken",
       "API data: 0x72206f6e 0x72656665 0x65636e65 0x6c6f7620 0x65676174 0x0, as text: no "
       "reference voltage"},
      // No module describes these.
      {"NO_Such", "", "0x1000001", "the HAP is not defined", ""},
      {"TST_FailAPI", "40002 2", "0x40002", "an error of the HAP API, with its data",
       "API data: 0x100, as text: .."},
  };
  configure({"t.csv"}, "haptable.tblcmd.wait.handler=requester\n");
  dir.write("trx.conf", replaced(readFile(dir.path() + "/trx.conf"), "hapmodule.number=1\n",
                                 "hapmodule.number=2\nhapmodule.file.1=" MODULE_ADC "\n"));
  for (const auto& [hap, para, code, meaning, detail] : cases) {
    writeTable("t.csv", ",1,START\n,2,WAIT,,1\n,3,HAP," + hap + ",,," + para + "\n,4,END\n");
    const std::string sentence = (hap == "NO_Such" ? "no module with the key NO is loaded: " : "") +
                                 code + ", " + meaning + (detail.empty() ? "" : "; " + detail);
    const json record = json::parse(outputOf(
        "table t --root . --unit 300:2 --json --ring " + hap + ".ring", dir.path()))["errorRecord"];
    EXPECT_EQ(record["code"], code);
    EXPECT_EQ(record["meaning"], meaning);
    EXPECT_EQ(record["detailText"], detail);
    const std::string lines = "    error code: " + code + ", " + meaning + '\n' +
                              (detail.empty() ? "" : "    " + detail + '\n');
    EXPECT_NE(run("table t --root . --unit 300:2").find(lines), std::string::npos) << lines;

    const std::string ring = " --root . " + hap + ".ring";
    const json summary = json::parse(outputOf("trace --summary --json" + ring, dir.path()));
    EXPECT_NE(summary["words"].get<std::string>().find(sentence), std::string::npos) << summary;
    const json failure = json::parse(outputOf("report --json" + ring, dir.path()))["failures"][0];
    for (const json& told : {summary, failure}) {
      EXPECT_EQ(told["code"], code);
      EXPECT_EQ(told["meaning"], meaning) << told;
      EXPECT_EQ(told["detailText"], detail);
    }
    const json stats = json::parse(outputOf("stats --json" + ring, dir.path()));
    std::string last;
    for (const json& row : stats["rows"]) {
      last = row["row"] == "3" ? row["lastFailure"].get<std::string>() : last;
    }
    EXPECT_EQ(last, "HAP " + hap + ": " + sentence);
    EXPECT_NE(run("explain --root . " + code).find("  means:  " + meaning + '\n'),
              std::string::npos);
  }
}

}  // namespace
}  // namespace kw::trx::testing
