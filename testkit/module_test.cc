// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/testing/module_test.h"

#include <map>

#include "zqm_trx/hap_stand_in.h"

namespace kw::trx::testing {
namespace {

using Stubs =
    std::map<std::string,
             std::function<int(trx::TRXInfo*, const char*, const unsigned int*, unsigned int*)>>;

Stubs stubs;  // of the test that runs; changed only while no request is in progress

/// The one that this thread runs next.
thread_local const Stubs::value_type* found = nullptr;

int runFound(trx::TRXInfo* info, const char* mode, const unsigned int* para, unsigned int* out) {
  return found->second(info, mode, para, out);
}

trx::HAPFunction findStub(const std::string& name) {
  const auto stub = stubs.find(name);
  if (stub == stubs.end()) {
    return nullptr;
  }
  found = &*stub;
  return runFound;
}

}  // namespace

void ModuleTest::stubHAP(const std::string& name, const StubbedHAP& function) {
  stubs[name] = function;
}

void ModuleTest::SetUp() {
  stubs.clear();
  configure(moduleFiles(), tableFiles(), "haptable.tblcmd.wait.handler=requester\n");
  TraceCapture capture(kw::platform::kTraceError);
  const std::string outcome = outcomeOf([this] { start(); });
  ASSERT_EQ(outcome, "ok") << "modules or tables cannot be loaded:\n" << capture.trail();
}

}  // namespace kw::trx::testing

kw::trx::trx::HAPFunction zqm_trx_stand_in(const std::string& name) {
  return kw::trx::testing::findStub(name);
}
