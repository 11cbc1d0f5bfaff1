// SPDX-License-Identifier: Apache-2.0
// The example files of the table guide load, or are refused by the rule that they are named for.
#include <filesystem>
#include <map>
#include <set>

#include "kw/trx/testing/engine_fixture.h"

namespace kw::trx::testing {
namespace {

namespace fs = std::filesystem;

/// The first error that the trace shows for each file.
const std::map<std::string, std::string> kFirstErrors = {
    {"right-minimal", ""},
    {"right-titles-and-notes", ""},
    {"right-every-command", ""},
    {"right-numbers", ""},
    {"right-jump-back", ""},
    {"right-mode-names-as-labels", ""},
    {"wrong-1-format-missing", "E a005002 \"FORMAT\""},
    {"wrong-1-format-not-zero", "E 9000009 \"wrong-1-format-not-zero.csv\""},
    {"wrong-2-version-too-long", "E a005003 \"VERSION\""},
    {"wrong-2-version-twice", "E a005002 \"VERSION\""},
    {"wrong-3-two-starts", "E 13001002 (id 0 0 0)"},
    {"wrong-4-no-end", "E 13001003 (id 0 0 0)"},
    {"wrong-4-end-first", "E 13001005 (id 0 0 0)"},
    {"wrong-5-start-before-version", "E 13001004 (id 0 0 0)"},
    {"wrong-6-number-not-hexadecimal", "E 13002001 (id 3 1 0)"},
    {"wrong-7-number-twice", "E 13002002 (id 4 1 10)"},
    {"wrong-7-two-empty-numbers", "E 13002002 (id 3 1 0)"},
    {"wrong-8-label-character", "E 14000000 (id 3 0 0)"},
    {"wrong-9-label-twice", "E 13003001 (id 4 0 0)"},
    {"wrong-10-unknown-command", "E 13007000 \"Wait\""},
    {"wrong-10-blank-row", "E 13007000 \"\""},
    {"wrong-11-cell-not-empty", "E 14000000 (id 3 5 0)"},
    {"wrong-12-hap-name", "E 14000000 (id 3 3 0)"},
    {"wrong-12-time", "E 14000000 (id 3 4 0)"},
    {"wrong-13-two-blanks", "E 1300a001 (id 3 6 0)"},
    {"wrong-13-long-field", "E 1300a001 (id 3 6 0)"},
    {"wrong-14-no-such-label", "E 1300a003 (id 3 5 0)"},
    {"wrong-14-hyphen-in-hap-row", "E 14000000 (id 3 5 0)"},
    {"wrong-15-mode-on-check", "E 1300c002 (id 3 5 0)"},
    {"wrong-16-reserved", "E 14000000 (id 3 7 0)"},
};

class GuideTest : public EngineFixture {};

TEST_F(GuideTest, ExampleFilesDoWhatTheGuideSays) {
  std::set<std::string> met;
  for (const fs::directory_entry& file : fs::directory_iterator(GUIDE_TABLES)) {
    const std::string name = file.path().stem().string();
    SCOPED_TRACE(name);
    met.insert(name);
    ASSERT_EQ(kFirstErrors.count(name), 1U) << "every example is tested";
    configure({}, {file.path().string()});
    TraceCapture capture(kw::platform::kTraceError);
    const std::string outcome = outcomeOf([this] { engine->load(false); });
    const std::string trail = capture.trail();
    EXPECT_EQ(outcome, name.rfind("right-", 0) == 0 ? "ok" : "TRX 70006");
    EXPECT_EQ(trail.substr(0, trail.find('\n')), kFirstErrors.at(name));
  }
  EXPECT_EQ(met.size(), kFirstErrors.size());
}

}  // namespace
}  // namespace kw::trx::testing
