// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/testing/module_test.h"

namespace kw::trx::testing {

void ModuleTest::SetUp() {
  configure(moduleFiles(), tableFiles(), "haptable.tblcmd.wait.handler=requester\n");
  TraceCapture capture(kw::platform::kTraceError);
  const std::string outcome = outcomeOf([this] { start(); });
  ASSERT_EQ(outcome, "ok") << "modules or tables cannot be loaded:\n" << capture.trail();
}

}  // namespace kw::trx::testing
