// SPDX-License-Identifier: Apache-2.0
// How requests ended, in words.
#include "common/text.h"
#include "traces/codes.h"
#include "traces/request_summaries.h"

namespace kw::trx::tools {
namespace {

/// The code of a failure with what it means, as far as its event does not say that.
std::string codeText(const RequestFailure& failure, const CodeMeaning& meaning) {
  if (failure.code == 0) {
    return failure.hap.empty() || failure.thrown ? "" : " gave no error code";
  }
  if (failure.hap.empty()) {
    return " (" + hexText(failure.code) + ")";
  }
  if (failure.thrown) {
    const CodeText* const known = findCode(failure.code);
    return ": " + hexText(failure.code) +
           (known == nullptr ? "" : std::string(", ") + known->meaning);
  }
  const std::string described = meaning(failure.hap, failure.code);
  return ": " + hexText(failure.code) + ", " +
         (described.empty() ? recordCodeMeaning(failure.code) : described);
}

std::string damageText(const RequestSummary& request) {
  return request.damaged ? "; records of its time are missing or damaged" : "";
}

/// What is known of a request that has not ended, whether it goes round first.
std::string openText(const RequestSummary& request, const CodeMeaning& meaning) {
  std::string text = request.begin_lost ? "its begin and end are" : "its end is";
  text += " not in the ring";
  text += request.often.empty() ? "" : "; " + request.often;
  if (request.repeated) {
    const RequestFailure& failure = *request.repeated;
    text += "; " + rowText(failure.table, failure.row) + " has failed " +
            std::to_string(request.repeated_times) + " times: " + failure.event +
            codeText(failure, meaning);
  }
  const bool plain = request.often.empty() && !request.repeated;
  return text + (plain ? ", its" : "; its") + " last record: " + request.last + damageText(request);
}

}  // namespace

std::string rowText(const std::string& table, const std::string& row) {
  return "row " + (table.empty() ? kUnknownTable : table) + '/' + (row.empty() ? "?" : row);
}

std::string outcomeText(const RequestSummary& request, const CodeMeaning& meaning) {
  std::string text = nameOf(request.end);
  if (request.end == RequestEnd::kOpen) {
    return openText(request, meaning);
  }
  if (request.end == RequestEnd::kWaits) {
    return "waits at its requester";
  }
  if (request.failure) {
    const RequestFailure& failure = *request.failure;
    text += failure.row.empty() ? ": " : ": " + rowText(failure.table, failure.row) + ": ";
    text += failure.event;
    text += codeText(failure, meaning);
  }
  text += request.ended_by.empty() ? "" : "; ended by " + request.ended_by;
  text += request.begin_lost ? "; its begin is not in the ring" : "";
  return text + damageText(request);
}

const char* nameOf(RequestEnd end) {
  switch (end) {
    case RequestEnd::kOk:
      return "ok";
    case RequestEnd::kFailed:
      return "failed";
    case RequestEnd::kRefused:
      return "refused";
    case RequestEnd::kWaits:
      return "waits";
    default:
      return "open";
  }
}

bool isFailure(RequestEnd end) { return end == RequestEnd::kFailed || end == RequestEnd::kRefused; }

}  // namespace kw::trx::tools
