// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_TABLE_UNTYPED_FORMAT_H_
#define TESTS_TABLE_UNTYPED_FORMAT_H_

#include "kw/trx/table_format.h"

namespace kw::trx::testing {

/// A format 00 of a derived class without type information, which the caller owns.
trx::TblFmt00* makeUntypedFormat(trx::TableData* data);

}  // namespace kw::trx::testing

#endif  // TESTS_TABLE_UNTYPED_FORMAT_H_
