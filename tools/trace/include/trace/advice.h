// SPDX-License-Identifier: Apache-2.0
// Usual causes of error records, and what to do.
#ifndef KW_TRX_TOOLS_TRACE_ADVICE_H_
#define KW_TRX_TOOLS_TRACE_ADVICE_H_

#include "trace/catalogue.h"

namespace kw::trx::tools {

struct Advice {
  const char* causes;
  const char* advice;
};

/// What to say of the records of `point`; null unless they are errors.
const Advice* findAdvice(const Point& point);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_ADVICE_H_
