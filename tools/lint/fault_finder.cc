// SPDX-License-Identifier: Apache-2.0
#include "lint/fault_finder.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <unordered_set>

#include "common/paths.h"
#include "lint/dialect.h"
#include "lint/fault_log.h"
#include "lint/row_faults.h"
#include "table/cell_number.h"
#include "trace/record_words.h"
#include "zqm_trx/file_limits.h"
#include "zqm_trx/table_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

namespace fs = std::filesystem;

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
  return std::strerror(error) + nearFileHint(file);
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
    if (!log.hasRoom() || !faults.note(log.collector.taken().at(0))) {
      return false;
    }
    log.collector.taken();
  }
  return true;
}

struct Area {
  unsigned int start = 0;
  unsigned int end = 0;  ///< included
};

/// Finds the faults of the NUMBER column. The engine's check of the whole column stops at the first
/// one, so the rows are checked one by one then, and numbers used twice are looked for here.
bool findNumberFaults(FaultLog& log, RowFaults& faults, const Area& area) {
  PatchedFormat& format = *log.format;
  if (format.checkNumber() == 0) {
    return true;
  }
  std::unordered_set<std::uint32_t> numbers;
  for (unsigned int row = area.start; row <= area.end; ++row) {
    if (!runStep(log, faults, [&] { return format.checkNumberOf(row); })) {
      return false;
    }
    const std::string cell = format.getMember(row, trx::kPlaceNumber);
    const std::uint32_t number = cellNumber(cell, trx::kHexBase).value;
    if (!numbers.insert(number).second) {
      if (!log.hasRoom()) {
        return false;
      }
      faults.noteNumberTwice(row, number);
    }
  }
  return runStep(log, faults, [&] { return format.checkNumber(); });
}

/// The same for the LABEL column.
bool findLabelFaults(FaultLog& log, RowFaults& faults, const Area& area) {
  PatchedFormat& format = *log.format;
  if (format.checkLabel() == 0) {
    return true;
  }
  std::unordered_set<std::string> labels;
  for (unsigned int row = area.start; row <= area.end; ++row) {
    if (!runStep(log, faults, [&] { return format.checkLabelOf(row); })) {
      return false;
    }
    const std::string label = format.getMember(row, trx::kPlaceLabel);
    if (!label.empty() && !labels.insert(label).second) {
      if (!log.hasRoom()) {
        return false;
      }
      faults.noteLabelTwice(row);
    }
  }
  return runStep(log, faults, [&] { return format.checkLabel(); });
}

void findFaults(FaultLog& log) {
  PatchedFormat& format = *log.format;
  RowFaults faults(log);
  checkKey(log, trx::kKeyFormat);
  checkKey(log, trx::kKeyVersion);
  Area area;
  if (!runStep(log, faults, [&] { return format.checkFileFmt(); }) ||
      format.getRowOfTblArea(area.start, area.end) != 0 || !findNumberFaults(log, faults, area) ||
      !findLabelFaults(log, faults, area)) {
    return;
  }
  for (unsigned int row = area.start; row <= area.end; ++row) {
    if (!runStep(log, faults, [&] { return format.checkRow(row); })) {
      return;
    }
  }
}

/// Says of a file in another dialect nothing but which: its cells are not those that were checked.
void nameDialect(const std::string& file, FaultLog& log) {
  const Dialect dialect = dialectOfFile(file);
  if (dialect.message.empty()) {
    return;
  }
  const unsigned int id = log.findings[0].id;
  if (id != trx::kDataNotCSV.id) {
    log.findings.clear();
    log.has_more = false;
  }
  log.add(0, "", dialect.message, id);
}

}  // namespace

Faults findFaults(const std::string& file) {
  FaultLog log;
  read(file, log);
  if (log.format != nullptr) {
    findFaults(log);
  }
  if (!log.findings.empty()) {
    nameDialect(file, log);
  }
  return {log.findings, log.has_more};
}

}  // namespace kw::trx::tools
