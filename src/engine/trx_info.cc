// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/trx_info.h"

#include <algorithm>

#include "kw/trx/table_driver.h"
#include "support/requester_id.h"
#include "support/trace.h"

namespace kw::trx::hapapi {

HAPAPIExpandData::HAPAPIExpandData() = default;
HAPAPIExpandData::~HAPAPIExpandData() = default;

}  // namespace kw::trx::hapapi

namespace kw::trx::trx {
namespace {

constexpr unsigned int kDefaultTraceHandle = 126;
constexpr unsigned int kDefaultTraceClass = 8;
constexpr int kDefaultAutoRtn = 1;
constexpr int kDefaultRtnValue = 0;

template <typename Record>
int push(std::vector<Record*>& stack, Record* record, const TracePoint& no_record) {
  if (record == nullptr) {
    trace(no_record, requesterId());
    return -1;
  }
  stack.push_back(record);
  return 0;
}

template <typename Record>
Record* pop(std::vector<Record*>& stack, const TracePoint& empty) {
  if (stack.empty()) {
    trace(empty, requesterId());
    return nullptr;
  }
  Record* record = stack.back();
  stack.pop_back();
  return record;
}

}  // namespace

HAPCtlInfo::HAPCtlInfo(std::vector<kw::sysobj::Component*>& units, const std::string& hap_name,
                       const std::string& mode, const unsigned int* para, unsigned int* out,
                       bool err_disable)
    : unit_list_(&units),
      hap_name_(&hap_name),
      mode_(&mode),
      para_(para),
      out_(out),
      err_disable_(err_disable) {}

HAPCtlInfo::~HAPCtlInfo() = default;

void HAPCtlInfo::getUnitList(std::vector<kw::sysobj::Component*>& out) const {
  if (unit_list_ != nullptr) {
    out = *unit_list_;
  }
}

TRXInfo::TRXInfo() : TRXInfo(requesterId(), kDefaultTraceHandle) {}

TRXInfo::TRXInfo(unsigned int handle) : TRXInfo(requesterId(), handle) {}

TRXInfo::TRXInfo(unsigned int id, unsigned int handle) : trxId(id), trace_handle_(handle) {}

TRXInfo::~TRXInfo() {
  releaseTblCtlInfo();
  delete expand_data_;
  delete product_trace_;
}

void TRXInfo::setAPI(hapapi::HAPAPI* api) { api_ = api; }

hapapi::HAPAPI* TRXInfo::getAPI() const { return api_; }

void TRXInfo::setHAPAPIExpandData(hapapi::HAPAPIExpandData* data) { expand_data_ = data; }

hapapi::HAPAPIExpandData* TRXInfo::getHAPAPIExpandData() const { return expand_data_; }

KWTrace* TRXInfo::getProductHAPAPITrace() {
  if (product_trace_ == nullptr) {
    const unsigned int trace_class = api_ != nullptr ? api_->getTraceClass() : kDefaultTraceClass;
    product_trace_ = new KWTrace(trace_handle_, trace_class);
  }
  return product_trace_;
}

int TRXInfo::pushHAPCtlInfo(HAPCtlInfo* record) {
  return push(hap_ctl_stack_, record, kInfoNoHAPRecord);
}

HAPCtlInfo* TRXInfo::popHAPCtlInfo() { return pop(hap_ctl_stack_, kInfoHAPStackEmpty); }

bool TRXInfo::isHAPCtlInfoEmpty() const { return hap_ctl_stack_.empty(); }

int TRXInfo::getSameNameHAPNestCount(const std::string& name) const {
  const auto same_name = [&name](const HAPCtlInfo* record) {
    return record->hap_name_ == nullptr ? name.empty() : *record->hap_name_ == name;
  };
  return static_cast<int>(std::count_if(hap_ctl_stack_.begin(), hap_ctl_stack_.end(), same_name));
}

void TRXInfo::releaseHAPCtlInfo() { hap_ctl_stack_.clear(); }

void TRXInfo::getHAPUnitList(std::vector<kw::sysobj::Component*>& out) const {
  if (!hap_ctl_stack_.empty()) {
    hap_ctl_stack_.back()->getUnitList(out);
  }
}

void TRXInfo::setAPIAutoRtn(int value) {
  if (!hap_ctl_stack_.empty()) {
    hap_ctl_stack_.back()->api_auto_rtn_ = value;
  }
}

int TRXInfo::getAPIAutoRtn() const {
  return hap_ctl_stack_.empty() ? kDefaultAutoRtn : hap_ctl_stack_.back()->api_auto_rtn_;
}

void TRXInfo::setAPIRtnValue(int value) {
  if (!hap_ctl_stack_.empty()) {
    hap_ctl_stack_.back()->api_rtn_value_ = value;
  }
}

int TRXInfo::getAPIRtnValue() const {
  return hap_ctl_stack_.empty() ? kDefaultRtnValue : hap_ctl_stack_.back()->api_rtn_value_;
}

bool TRXInfo::isErrDisables() const {
  const bool of_hap = !hap_ctl_stack_.empty() && hap_ctl_stack_.back()->err_disable_;
  return of_hap || err_disable_;
}

void TRXInfo::setErrDisable(bool disable) { err_disable_ = disable; }

void TRXInfo::setTableName(const std::string& name) { table_name_ = name; }

std::string TRXInfo::getTableName() const { return table_name_; }

void TRXInfo::setTableUnitList(const std::vector<kw::sysobj::Component*>& units) {
  table_unit_list_ = units;
}

std::vector<kw::sysobj::Component*>& TRXInfo::getTableUnitList() { return table_unit_list_; }

int TRXInfo::pushTblCtlInfo(TblCtlInfo* record) {
  return push(tbl_ctl_stack_, record, kInfoNoTableRecord);
}

TblCtlInfo* TRXInfo::popTblCtlInfo() { return pop(tbl_ctl_stack_, kInfoTableStackEmpty); }

TblCtlInfo* TRXInfo::getCurTblCtlInfo() const {
  return tbl_ctl_stack_.empty() ? nullptr : tbl_ctl_stack_.back();
}

bool TRXInfo::isTblCtlInfoEmpty() const { return tbl_ctl_stack_.empty(); }

int TRXInfo::getSameNameTblNestCount(const std::string& name) const {
  const auto same_name = [&name](const TblCtlInfo* record) { return record->tableName == name; };
  return static_cast<int>(std::count_if(tbl_ctl_stack_.begin(), tbl_ctl_stack_.end(), same_name));
}

void TRXInfo::releaseTblCtlInfo() {
  for (const TblCtlInfo* record : tbl_ctl_stack_) {
    delete record;
  }
  tbl_ctl_stack_.clear();
}

void TRXInfo::setTblCmdErrStack() { tbl_cmd_err_stack_ = true; }

void TRXInfo::delTblCmdErrStack() { tbl_cmd_err_stack_ = false; }

bool TRXInfo::isTblCmdErrStack() const { return tbl_cmd_err_stack_; }

void TRXInfo::setTblErrEnd() { tbl_err_end_ = true; }

bool TRXInfo::isTblErrEnd() const { return tbl_err_end_; }

void TRXInfo::setTblRtnMsg(const std::string& message) { tbl_rtn_msg_ = message; }

std::string TRXInfo::getTblRtnMsg() const { return tbl_rtn_msg_; }

void TRXInfo::initialize() {
  api_ = nullptr;
  releaseHAPCtlInfo();
  releaseTblCtlInfo();
  delete expand_data_;
  expand_data_ = nullptr;
  tbl_cmd_err_stack_ = false;
  tbl_err_end_ = false;
  tbl_rtn_msg_.clear();
  error.clear();
  err_disable_ = false;
}

}  // namespace kw::trx::trx
