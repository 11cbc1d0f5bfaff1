// SPDX-License-Identifier: Apache-2.0
// The tables of a report, with what ran of them, and figures of runs as JSON. One thread.
#ifndef KW_TRX_TOOLS_REPORT_TABLE_JSON_H_
#define KW_TRX_TOOLS_REPORT_TABLE_JSON_H_

#include "common/json.h"
#include "report/report.h"

namespace kw::trx::tools {

/// Writes the members `calls` to `lockWaitNs` into the open object.
void writeFigures(const WorkFigures& figures, JsonWriter& json);

/// Writes the member `tables`: each table that ran or that one of these calls, a table that is not
/// known as far as its rows ran; and `tablesNotRun`, the names of the others.
void writeTables(const Report& report, JsonWriter& json);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPORT_TABLE_JSON_H_
