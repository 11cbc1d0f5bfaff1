// SPDX-License-Identifier: Apache-2.0
// An engine with the module TBL and tables given as text.
#ifndef KW_TRX_TESTS_TABLE_TABLE_FIXTURE_H_
#define KW_TRX_TESTS_TABLE_TABLE_FIXTURE_H_

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "kw/trx/table_driver.h"
#include "kw/trx/testing/engine_fixture.h"
#include "kw/trx/trx_info.h"
#include "script.h"

namespace kw::trx::testing {

const std::string kHead = "FORMAT,0\nVERSION,1\n";
constexpr char kRequester[] = "haptable.tblcmd.wait.handler=requester\n";

/// Names of tables and their rows, which come behind the two header rows.
using Tables = std::vector<std::pair<std::string, std::string>>;

/// Of a trail, the records of the table side; and these as the flow in one line: each row as its
/// command and NUMBER, any other record as its id and its text or first word.
std::string recordsOf(const std::string& trail);
std::string flowOf(const std::string& trail);

class TableFixture : public EngineFixture {
 protected:
  /// Loads module TBL and `tables` with further configuration `lines`.
  void load(const Tables& tables, const std::string& lines = "");

  /// Makes the HAPs of `info` call `script`.
  static void follow(trx::TRXInfo& info, Script::Function script);

  /// Makes the HAPs of `info` do what their mode says: "fail" returns 1 with error code 0x77, "trx"
  /// and "other" throw, "stop" sets the stop flag, "drop" takes all tables off the context and
  /// fails too; others succeed.
  void obeyModes(trx::TRXInfo& info);

  /// Outcome of a table request; without a name, of another call with the same context.
  std::string run(trx::TRXInfo& info, const std::string& table = "");
};

}  // namespace kw::trx::testing

#endif  // KW_TRX_TESTS_TABLE_TABLE_FIXTURE_H_
