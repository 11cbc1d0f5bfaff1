// SPDX-License-Identifier: Apache-2.0
// A format derived from format 00 without type information, as a library that is built without it
// may have one.
#include "untyped_format.h"

namespace kw::trx::testing {
namespace {

class UntypedFormat : public trx::TblFmt00 {
 public:
  using TblFmt00::TblFmt00;
};

}  // namespace

trx::TblFmt00* makeUntypedFormat(trx::TableData* data) { return new UntypedFormat("t", data); }

}  // namespace kw::trx::testing
