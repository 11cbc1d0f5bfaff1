// SPDX-License-Identifier: Apache-2.0
// An API object without type information, as a host that is built without it has one.
#include "untyped_api.h"

namespace kw::trx::testing {
namespace {

class UntypedAPI : public hapapi::HAPAPI {
 public:
  explicit UntypedAPI(std::string& calls) : calls_(calls) {}
  ~UntypedAPI() override { calls_ += "destroyed "; }
  void beginHAPExec(trx::TRXInfo*) override { calls_ += "begin "; }
  void endHAPExec(trx::TRXInfo*) override { calls_ += "end "; }
  unsigned int getTraceClass() override { return 1; }

 private:
  std::string& calls_;
};

}  // namespace

hapapi::HAPAPI* makeUntypedAPI(std::string& calls) { return new UntypedAPI(calls); }

}  // namespace kw::trx::testing
