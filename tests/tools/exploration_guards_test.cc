// SPDX-License-Identifier: Apache-2.0
// Claims that guard tables, each on the smallest tables that need it.
#include <gtest/gtest.h>

#include "analysis/witness.h"
#include "cases/case_run.h"
#include "common/text.h"
#include "kw/trx/testing/temp_dir.h"

namespace kw::trx::testing {
namespace {

using Lines = std::vector<std::string>;

/// All claims of the tables that hosts must be the ones to run, a line each; the engine confirms
/// those of single runs.
Lines claimsOf(const TempDir& dir, const std::map<std::string, std::string>& tables,
               std::size_t max_states) {
  Lines files;
  for (const auto& [name, rows] : tables) {
    files.push_back(
        dir.write(name + ".csv", "FORMAT,0\nVERSION,1\n,1,START\n" + rows + ",f,END\n"));
  }
  const tools::Simulator simulator(files, 1);
  const tools::Program program = tools::programOf(simulator.tables());
  Lines lines;
  std::vector<tools::Exploration> found;
  for (const int entry : tools::entriesOf(program)) {
    found.push_back(tools::explore(program, entry, 1, max_states));
    for (const tools::Claim& claim : found.back().claims) {
      lines.push_back(std::string(tools::nameOf(claim.kind)) + "=" + claim.subject);
      if (claim.witness) {
        EXPECT_EQ(tools::differencesOf(tools::confirmingCase(program, entry, claim), simulator),
                  Lines())
            << claim.message;
      }
    }
  }
  for (const tools::Claim& claim : tools::unreachedRows(program, found)) {
    lines.push_back("unreached=" + claim.subject);
  }
  return lines;
}

TEST(ExplorationGuardsTest, NothingHidesWhatARunCanDo) {
  const struct {
    std::map<std::string, std::string> tables;
    Lines claims;   ///< among others
    Lines missing;  ///< not among them
    std::size_t max_states = 100000;
  } cases[] = {
      // A retry, and behind it a way back to the row before it.
      {{{"a", "r,2,HAP,TST_A,,r\n,3,HAP,TST_B,,r\n"}},
       {"endless=2", "endless=3", "calls=max"},
       {"stuck=2", "stuck=3"}},
      // One row, seen by CHECK or not.
      {{{"a", ",2,HAP,TST_A,,STACK\n,3,HAP,TST_B,,e\n,4,CHECK,,,e\ne,5,WAIT\n"}},
       {"swallowed=2", "recovered=2", "finds=4"},
       {"finds-other=4"}},
      {{{"a", ",2,TABLE,b\n,3,CHECK\n"}, {"b", ",2,HAP,TST_A,,STACK\n"}},
       {"finds-other=3"},
       {"finds=3", "recovered=b/2"}},
      // No one calls these from outside.
      {{{"a", ",2,HAP,TST_A,,e\n,3,TABLE,b\ne,4,WAIT\n"}, {"b", ",2,TABLE,a\n"}, {"c", ""}},
       {"nest-limit=a", "nest-limit=b"},
       {}},
      {{{"a", ",2,END\n,3,TABLE,b\n"}, {"b", ",2,WAIT\n"}},
       {"unreached=3", "unreached=b/1", "unreached=b/2"},
       {}},
      // The table that is called does not end when its second HAP fails.
      {{{"a", ",2,TABLE,b\n"},
        {"b", ",2,HAP,TST_A\n,3,HAP,TST_B,,h\n,4,END\nh,5,WAIT\n,6,TABLE,c\n"},
        {"c", "h,2,HAP,TST_A,,h\n,3,TABLE,d\n"},
        {"d", ",2,HAP,TST_A,,STACK\nh,3,CHECK,,,h\n"}},
       {"stuck=d/3", "endless=c/2", "endless=d/3"},
       {"stuck=b/5", "stuck=c/2"}},
      {{{"a", ",2,TABLE,b\n"}, {"b", "h,2,HAP,TST_A,,h\n,3,HAP,,,h\n"}},
       {"stuck=1", "never-succeeds=", "calls=max"},
       {"stuck=b/1"}},
      // What is not looked at is not known.
      {{{"a", ",2,TABLE,b\n,3,END\n,4,WAIT\n"}, {"b", ",2,END,BAD\n"}},
       {},
       {"unreached=4", "never-succeeds=", "calls=min", "calls=max", "stuck=1", "message=BAD"},
       1},
  };
  for (const auto& one : cases) {
    const TempDir dir;
    const Lines found = claimsOf(dir, one.tables, one.max_states);
    const auto has = [&](const std::string& line) {
      return std::find(found.begin(), found.end(), line) != found.end();
    };
    for (const std::string& claim : one.claims) {
      EXPECT_TRUE(has(claim)) << claim << " is not among " << tools::listed(found);
    }
    for (const std::string& claim : one.missing) {
      EXPECT_FALSE(has(claim)) << claim << " is among " << tools::listed(found);
    }
  }
}

}  // namespace
}  // namespace kw::trx::testing
