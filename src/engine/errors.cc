// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/errors.h"

#include <algorithm>
#include <cstring>

#include "support/requester_id.h"
#include "support/trace.h"

namespace kw::trx::trx {

KWException::KWException(unsigned int code) : code_(code), message_("KWException") {}

KWException::KWException(const KWException&) = default;

KWException& KWException::operator=(const KWException&) = default;

KWException::~KWException() = default;

const char* KWException::what() const noexcept { return message_.c_str(); }

unsigned int KWException::getCode() const { return code_; }

TRXException::TRXException(unsigned int code, unsigned int detail)
    : KWException(code), detail_(detail) {}

TRXException::TRXException(const TRXException&) = default;

TRXException& TRXException::operator=(const TRXException&) = default;

TRXException::~TRXException() = default;

unsigned int TRXException::getDetail() const { return detail_; }

TRXError::TRXError() = default;

TRXError::~TRXError() { delete[] api_error_; }

void TRXError::clear() {
  err_code_ = 0;
  delete[] api_error_;
  api_error_ = nullptr;
  api_error_size_ = 0;
  hap_err_detail_.clear();
  hap_err_code_ = 0;
  err_unit_list_.clear();
  errTableName.clear();
  errCmdNumber = 0;
}

void TRXError::setErrCode(const unsigned int& code) { err_code_ = code; }

unsigned int TRXError::getErrCode() const { return err_code_; }

void TRXError::setErrHAPName(const std::string& name) { err_hap_name_ = name; }

std::string TRXError::getErrHAPName() const { return err_hap_name_; }

void TRXError::setAPIError(void* data, int size) {
  if (data == nullptr || size <= 0) {
    trace(kErrorNoAPIData, requesterId(), traceWord(data), traceWord(size));
    return;
  }
  // The new block comes first: `data` may lie in the old one, and without memory the old one stays.
  auto* block = new unsigned char[static_cast<unsigned int>(size)];
  std::memcpy(block, data, static_cast<unsigned int>(size));
  delete[] api_error_;
  api_error_ = block;
  api_error_size_ = size;
}

void* TRXError::getAPIError() const { return api_error_; }

int TRXError::getAPIErrorSize() const { return api_error_size_; }

void TRXError::setHAPError(const unsigned int& code, const unsigned int* detail,
                           unsigned int size) {
  err_code_ = code;
  hap_err_code_ = code;
  hap_err_detail_.clear();
  if (size == 0 || detail == nullptr) {
    trace(kErrorNoDetail, requesterId(), traceWord(detail), size);
    return;
  }
  const auto* bytes = reinterpret_cast<const unsigned char*>(detail);
  hap_err_detail_.assign(bytes, bytes + size);
}

void TRXError::setHAPError(HAP_ERR_T* record) {
  if (record == nullptr) {
    trace(kErrorNoRecord, requesterId());
    return;
  }
  setHAPError(record->code, record->detail, sizeof(record->detail));
}

unsigned int TRXError::getHAPErrorCode() const { return hap_err_code_; }

void TRXError::getHAPErrorDetail(unsigned int* buf, unsigned int size) {
  if (buf == nullptr || size == 0) {
    trace(kErrorNoBuffer, requesterId(), traceWord(buf), size);
    return;
  }
  std::memset(buf, 0, size);
  std::copy_n(hap_err_detail_.begin(), std::min(getHAPErrorDetailSize(), size),
              reinterpret_cast<unsigned char*>(buf));
}

void TRXError::getHAPError(HAP_ERR_T* record) {
  if (record == nullptr) {
    trace(kErrorNoOutput, requesterId());
    return;
  }
  record->code = hap_err_code_;
  getHAPErrorDetail(record->detail, sizeof(record->detail));
}

unsigned int TRXError::getHAPErrorDetailSize() const {
  return static_cast<unsigned int>(hap_err_detail_.size());
}

void TRXError::addErrUnit(kw::sysobj::Component* unit) {
  if (unit == nullptr) {
    trace(kErrorNoUnit, requesterId());
    return;
  }
  err_unit_list_.push_back(unit);
}

void TRXError::addErrUnitList(std::vector<kw::sysobj::Component*>& units) {
  err_unit_list_.insert(err_unit_list_.end(), units.begin(), units.end());
}

void TRXError::getErrUnitList(std::vector<kw::sysobj::Component*>& out) const {
  out = err_unit_list_;
}

void TRXError::clearErrUnitList() { err_unit_list_.clear(); }

}  // namespace kw::trx::trx
