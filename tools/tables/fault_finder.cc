// SPDX-License-Identifier: Apache-2.0
#include "tables/fault_finder.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>

#include "common/paths.h"
#include "tables/fault_log.h"
#include "tables/row_faults.h"
#include "traces/record_words.h"
#include "zqm_trx/file_limits.h"
#include "zqm_trx/table_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

namespace fs = std::filesystem;

/// More findings than anybody reads: each one costs another run of a check.
constexpr std::size_t kFindingsMax = 1000;

/// Why the table `file` cannot be read, where the system calls it `error`.
std::string reasonOf(const std::string& file, int error) {
  std::error_code ignored;
  const fs::file_status status = fs::status(file, ignored);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    return trx::kNotRegularWords;
  }
  if (fs::is_regular_file(status) && fs::file_size(file, ignored) > trx::kTableFileMax) {
    return trx::kTableTooLargeWords;
  }
  return std::strerror(error);
}

/// Reads `file` into `log`; notes why it cannot be read.
void read(const std::string& file, FaultLog& log) {
  auto data = std::make_unique<trx::TableData>();
  errno = 0;
  if (data->load(absolutePath(file)) != 0) {
    const unsigned int id = log.collector.taken().at(0).id;
    const bool extension = id == trx::kDataNotCSV.id;
    log.add(0, "", extension ? "its extension is not csv" : reasonOf(file, errno), id);
    return;
  }
  log.format = std::make_unique<PatchedFormat>(tableNameOf(file), data.get());
  static_cast<void>(data.release());
}

/// Runs a check until it finds nothing more. False when the next one cannot run.
bool runStep(FaultLog& log, RowFaults& faults, const std::function<int()>& check) {
  log.collector.taken();
  while (check() != 0) {
    if (log.findings.size() >= kFindingsMax) {
      log.add(0, "", "there are more errors than these", log.findings.back().id);
      return false;
    }
    if (!faults.note(log.collector.taken().at(0))) {
      return false;
    }
    log.collector.taken();
  }
  return true;
}

void findFaults(FaultLog& log) {
  PatchedFormat& format = *log.format;
  RowFaults faults(log);
  checkKey(log, trx::kKeyFormat);
  checkKey(log, trx::kKeyVersion);
  unsigned int start = 0;
  unsigned int end = 0;
  if (!runStep(log, faults, [&] { return format.checkFileFmt(); }) ||
      !runStep(log, faults, [&] { return format.checkNumber(); }) ||
      !runStep(log, faults, [&] { return format.checkLabel(); }) ||
      format.getRowOfTblArea(start, end) != 0) {
    return;
  }
  // Row by row, each label is looked for in the whole table anew.
  if (log.findings.empty() && format.checkTblCmd() == 0) {
    return;
  }
  for (unsigned int row = start; row <= end; ++row) {
    if (!runStep(log, faults, [&] { return format.checkRow(row); })) {
      return;
    }
  }
}

}  // namespace

std::vector<Finding> findFaults(const std::string& file) {
  FaultLog log;
  read(file, log);
  if (log.format != nullptr) {
    findFaults(log);
  }
  return log.findings;
}

}  // namespace kw::trx::tools
