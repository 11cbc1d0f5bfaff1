// SPDX-License-Identifier: Apache-2.0
// How the controller records a failed HAP and writes the error record of its context to the trace.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "kw/trx/errors.h"
#include "kw/trx/hap_controller.h"
#include "support/trace.h"

namespace kw::trx::trx {
namespace {

constexpr std::size_t kChunkBytes = 32;
constexpr std::size_t kWordBytes = 4;
constexpr std::size_t kMaxAPIChunks = 4;

/// The eight words of one 32-byte record.
using Chunk = std::array<std::uint32_t, kChunkBytes / kWordBytes>;

/// The bytes as records, the last one filled up with zeros.
std::vector<Chunk> toChunks(const void* data, std::size_t size_bytes) {
  std::vector<Chunk> chunks((size_bytes + kChunkBytes - 1) / kChunkBytes, Chunk{});
  if (data != nullptr && size_bytes != 0) {
    std::memcpy(chunks.data(), data, size_bytes);
  }
  return chunks;
}

void traceChunk(const TracePoint& point, const Chunk& w) {
  trace(point, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
}

void traceHAPError(TRXError& error) {
  const unsigned int size = error.getHAPErrorDetailSize();
  std::vector<unsigned int> detail((size + kWordBytes - 1) / kWordBytes, 0);
  error.getHAPErrorDetail(detail.data(), size);
  std::vector<Chunk> chunks = toChunks(detail.data(), size);
  const std::size_t padded = chunks.size() * kChunkBytes;
  trace(kHAPErrDetail, error.getHAPErrorCode(), size, size, padded, padded, 0, 0, 0);
  if (chunks.empty()) {
    return;
  }
  chunks.back().back() = 0;  // the last record has room for seven words
  std::for_each(chunks.begin(), chunks.end() - 1,
                [](const Chunk& chunk) { traceChunk(kHAPErrDetailWords, chunk); });
  traceChunk(kHAPErrDetailLast, chunks.back());
}

void traceAPIError(const TRXError& error) {
  const int size = error.getAPIErrorSize();
  const void* data = error.getAPIError();
  const std::size_t held = data == nullptr ? 0 : static_cast<std::size_t>(size);
  const std::vector<Chunk> chunks = toChunks(data, held);
  trace(kHAPErrAPI, error.getErrCode(), traceWord(size), traceWord(size), 0, 0, 0, 0, 0);
  for (std::size_t i = 0; i < std::min(chunks.size(), kMaxAPIChunks); ++i) {
    traceChunk(kHAPErrAPIWords, chunks[i]);
  }
}

}  // namespace

void HAPController::errUndefHAP(TRXInfo* info, const std::string& name) {
  info->error.setErrCode(kRecordUndefinedHAP);
  info->error.setErrHAPName(name);
  throw TRXException(kCodeHAPFailed);
}

void HAPController::errExecHAP(TRXInfo* info, const std::string& name) {
  TRXError& error = info->error;
  error.setErrHAPName(name);
  trace(kHAPErrRequest, info->trxId);
  trace(kHAPErrName, name);
  const unsigned int code = error.getErrCode();
  if ((code & kRecordClassMask) == 0) {
    trace(kHAPErrCodeOnly, code);
    trace(kHAPErrCodeOnlyEnd);
  } else if ((code & kRecordClassHAP) != 0) {
    traceHAPError(error);
  } else if ((code & kRecordClassAPI) != 0) {
    traceAPIError(error);
  }
}

}  // namespace kw::trx::trx
