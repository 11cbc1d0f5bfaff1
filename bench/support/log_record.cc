// SPDX-License-Identifier: Apache-2.0
#include "support/log_record.h"

#include "kw/trx/logger.h"

namespace bench {

void logRecord() { kw::clib_trx::Logger::getLogger()->debug(-1, kRecordId, 1UL, 2UL, 3UL, 4UL); }

}  // namespace bench
