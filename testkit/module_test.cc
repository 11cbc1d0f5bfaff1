// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/testing/module_test.h"

#include "zqm_trx/hap_stand_in.h"

namespace kw::trx::testing {
namespace {

using Stubs =
    std::map<std::string,
             std::function<int(trx::TRXInfo*, const char*, const unsigned int*, unsigned int*)>>;

/// The one that this thread runs next.
thread_local const Stubs::value_type* found = nullptr;

class StubAPI : public trx::HAPStandIn {
 public:
  explicit StubAPI(Stubs stubs) : stubs_(std::move(stubs)) {}

  trx::HAPFunction findHAP(const std::string& name) override {
    const auto stub = stubs_.find(name);
    if (stub == stubs_.end()) {
      return nullptr;
    }
    found = &*stub;
    return [](trx::TRXInfo* info, const char* mode, const unsigned int* para, unsigned int* out) {
      return found->second(info, mode, para, out);
    };
  }

 private:
  const Stubs stubs_;
};

}  // namespace

void ModuleTest::stubHAP(const std::string& name, const StubbedHAP& function) {
  stubs_[name] = function;
  engine->setHAPAPI(new StubAPI(stubs_));
}

void ModuleTest::SetUp() {
  configure(moduleFiles(), tableFiles(), "haptable.tblcmd.wait.handler=requester\n");
  TraceCapture capture(kw::platform::kTraceError);
  const std::string outcome = outcomeOf([this] { start(); });
  ASSERT_EQ(outcome, "ok") << "modules or tables cannot be loaded:\n" << capture.trail();
}

}  // namespace kw::trx::testing
