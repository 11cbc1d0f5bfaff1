// SPDX-License-Identifier: Apache-2.0
// A folder with files for the tool, and what runs of it there print.
#ifndef KW_TRX_TESTS_TRXCTL_COMMAND_FIXTURE_H_
#define KW_TRX_TESTS_TRXCTL_COMMAND_FIXTURE_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kw/trx/testing/temp_dir.h"
#include "tool.h"

namespace kw::trx::testing {

class CommandTest : public ::testing::Test {
 protected:
  CommandTest() { dir.write("kw/etc/kwpath.conf", "path.trx.conf=" + dir.path() + "/trx.conf\n"); }

  /// A configuration with the module TST, the tables `tables` of the folder, and further lines.
  void configure(const std::vector<std::string>& tables, const std::string& lines = "") const {
    std::string text = "hapmodule.number=1\nhapmodule.file.0=" MODULE_TST "\nhaptable.number=" +
                       std::to_string(tables.size()) + "\n";
    for (std::size_t i = 0; i < tables.size(); ++i) {
      text += "haptable.file." + std::to_string(i) + "=" + dir.path() + "/" + tables[i] + "\n";
    }
    dir.write("trx.conf", text + lines);
  }

  void writeTable(const std::string& name, const std::string& rows) const {
    dir.write(name, "FORMAT,0\nVERSION,1\n" + rows);
  }

  /// What a run in the folder prints, without what changes from run to run.
  std::string run(const std::string& arguments) const {
    std::string text = runTool(arguments, dir.path());
    for (std::size_t at = text.find(" after "); at != std::string::npos;
         at = text.find(" after ", at + 1)) {
      text.erase(at, text.find('\n', at) - at);
    }
    return replaced(replaced(text, dir.path(), "DIR"), MODULE_TST, "TST.so");
  }

  /// The same without the times in front of rows.
  std::string runRows(const std::string& arguments) const {
    std::string text = run(arguments);
    for (std::size_t at = text.find(" s  "); at != std::string::npos; at = text.find(" s  ", at)) {
      const std::size_t begin = text.rfind('\n', at) + 1;
      text.erase(begin, at + 4 - begin);
    }
    return text;
  }

  TempDir dir;
};

}  // namespace kw::trx::testing

#endif  // KW_TRX_TESTS_TRXCTL_COMMAND_FIXTURE_H_
