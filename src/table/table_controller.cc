// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/table_controller.h"

#include <memory>

#include "kw/trx/file_path.h"
#include "kw/trx/table_data.h"
#include "kw/trx/table_driver.h"
#include "kw/trx/table_format.h"
#include "kw/trx/trx_config.h"
#include "kw/trx/trx_info.h"
#include "support/handlers.h"
#include "support/requester_id.h"

namespace kw::trx::trx {
namespace {

/// The records of one way in which a table file is unusable.
struct Refusal {
  TracePoint skipped;
  TracePoint skipped_end;
  TracePoint stopped;
};

constexpr Refusal kNoName{kTblLoadNoNameSkipped, kTblLoadNoNameSkippedEnd, kTblLoadNoName};
constexpr Refusal kNotRead{kTblLoadNotReadSkipped, kTblLoadNotReadSkippedEnd, kTblLoadNotRead};
constexpr Refusal kNoFormat{kTblLoadNoFormatSkipped, kTblLoadNoFormatSkippedEnd, kTblLoadNoFormat};
constexpr Refusal kInvalid{kTblLoadInvalidSkipped, kTblLoadInvalidSkippedEnd, kTblLoadInvalid};

/// Throws when the load stops on errors; otherwise the file is left out.
void refuse(const Refusal& refusal, const std::string& file_name, bool stop_on_error) {
  if (stop_on_error) {
    trace(refusal.stopped, file_name);
    throw TRXException(kCodeTableLoad);
  }
  trace(refusal.skipped, file_name);
  trace(refusal.skipped_end);
}

/// Null for a file that is left out.
std::unique_ptr<TableData> readFile(const std::string& path, const std::string& file_name,
                                    bool stop_on_error) {
  try {
    auto data = std::make_unique<TableData>();
    if (data->load(path) != 0) {
      refuse(kNotRead, file_name, stop_on_error);
      return nullptr;
    }
    return data;
  } catch (...) {
    traceInHandler(kTblLoadException, requesterId());
    throw;
  }
}

}  // namespace

TableController::TableController() = default;

TableController::~TableController() { releaseTable(); }

void TableController::load(std::vector<std::string>& files) {
  releaseTable();
  const TRXConfig& config = TRXConfig::getInstance();
  nest_limit_ = static_cast<int>(config.getTableNestLimit());
  for (const std::string& path : files) {
    loadTable(path, config.isTableStopOnLoadError());
  }
}

void TableController::loadTable(const std::string& path, bool stop_on_error) {
  FilePath name(path);
  name.erasePath();
  const std::string file_name = name.value;
  name.eraseFileExtension();
  if (name.value.empty()) {
    return refuse(kNoName, file_name, stop_on_error);
  }
  std::unique_ptr<TableData> data = readFile(path, file_name, stop_on_error);
  if (data == nullptr) {
    return;
  }
  const std::unique_ptr<TblFmtFactory> format(TblFmtFactory::getTblFmt(name.value, data.get()));
  if (format == nullptr) {
    return refuse(kNoFormat, file_name, stop_on_error);
  }
  static_cast<void>(data.release());
  if (format->checkFormat() != 0) {
    return refuse(kInvalid, file_name, stop_on_error);
  }
  table_list_.addTable(format->createHAPTable());
}

void TableController::execTable(TRXInfo* info) {
  if (info == nullptr) {
    trace(kTblExecNoContext, requesterId());
    throw TRXException(kCodeContext);
  }
  TableDriver driver(nest_limit_);
  traceForeignException(kTblExecForeignException, info->trxId,
                        [&] { driver.execTable(info, &table_list_); });
}

void TableController::releaseTable() { table_list_.clear(); }

bool TableController::isLoadTable() const { return false; }

}  // namespace kw::trx::trx
