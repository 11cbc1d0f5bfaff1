// SPDX-License-Identifier: Apache-2.0
// How requests ended, in words.
#include <algorithm>
#include <cstring>
#include <vector>

#include "common/json.h"
#include "common/text.h"
#include "trace/codes.h"
#include "trace/record_words.h"
#include "trace/request_summaries.h"

namespace kw::trx::tools {
namespace {

constexpr std::uint32_t kFirstOtherInHex = 10;  ///< numbers below look the same in hexadecimal

/// The code with what it means, as far as the event does not say that, behind what failed.
std::string textBehind(const Failure& failure, const CodeMeaning& meaning) {
  if (!failure.has_code) {
    return failure.cause == Cause::kError ? " gave an error code of a class that is not traced"
                                          : "";
  }
  if (failure.hap.empty()) {
    return " (" + hexText(failure.code) + ")";
  }
  if (failure.code == 0 && failure.cause == Cause::kError) {
    return " gave no error code";
  }
  return ": " + codeText(failure.code, codeMeaningOf(failure, meaning));
}

/// The bytes of `words` as text, others than those of ASCII as dots.
std::string printableText(const std::vector<std::uint32_t>& words, std::size_t bytes) {
  if (words.empty()) {
    return {};
  }
  std::string text(words.size() * sizeof(std::uint32_t), '\0');
  std::memcpy(text.data(), words.data(), text.size());
  text.resize(std::min(text.size(), bytes));
  text.erase(text.find_last_not_of('\0') + 1);
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c > '~'; }, '.');
  return text;
}

std::string notesText(const Request& request) {
  return (request.uncertain.empty() ? "" : "; " + request.uncertain) +
         (request.is_incomplete && !request.start_lost
              ? "; records of its time are missing or damaged"
              : "");
}

/// The row that ran most often, and the one that failed most often, behind what else is told.
std::string roundsText(const RequestSummary& summary, const CodeMeaning& meaning) {
  std::string text = summary.often.empty() ? "" : "; " + summary.often;
  if (summary.repeated_row) {
    text += "; " + rowText(*summary.repeated_row) + " has failed " +
            std::to_string(summary.repeated_times) + " times: " + textOf(summary.repeated, meaning);
  }
  return text;
}

/// What is known of a request that has not ended, whether it goes round first.
std::string openText(const RequestSummary& summary, const CodeMeaning& meaning) {
  const Request& request = summary.request;
  std::string text = request.start_lost ? "its begin and end are" : "its end is";
  text += " not in the ring";
  text += summary.where.empty() ? "" : "; " + summary.where + " has not ended";
  return text + roundsText(summary, meaning) + "; its last record: " + describe(request.last) +
         notesText(request);
}

std::string waitText(const RequestSummary& summary, const CodeMeaning& meaning) {
  return "waits" + (summary.where.empty() ? std::string() : " in " + summary.where) +
         "; its end is not in the ring" + roundsText(summary, meaning) + notesText(summary.request);
}

}  // namespace

void writeRequest(const Request& request, JsonWriter& json) {
  json.key("process").number(request.process_id).key("thread").number(request.thread_id);
  json.member("request", hexText(request.id)).key("requestNumber").number(request.number);
  json.member("kind", nameOf(request.kind)).member("name", request.name);
  json.member("mode", request.mode).texts("units", request.units);
  json.key("moreUnits").boolean(request.more_units);
}

std::string codeText(std::uint32_t code, const std::string& meaning) {
  return hexText(code) + (meaning.empty() ? "" : ", " + meaning);
}

std::string detailText(const Failure& failure) {
  // The size of API data is the API's own, which may be negative.
  if (static_cast<std::int32_t>(failure.detail_bytes) <= 0) {
    return {};
  }
  std::string text = failure.of_api ? "API data:" : "detail:";
  for (const std::uint32_t word : failure.detail) {
    text += ' ' + hexText(word);
    text += word < kFirstOtherInHex || failure.of_api ? "" : " (" + std::to_string(word) + ")";
  }
  const std::size_t known = failure.detail.size() * sizeof(std::uint32_t);
  if (known < failure.detail_bytes) {
    text += " and " + std::to_string(failure.detail_bytes - known) + " bytes that no record tells";
  }
  return text + (failure.of_api
                     ? ", as text: " + printableText(failure.detail, failure.detail_bytes)
                     : "");
}

std::string codeMeaningOf(const Failure& failure, const CodeMeaning& meaning) {
  if (!failure.has_code || failure.code == 0) {
    return {};
  }
  const bool of_record = !failure.hap.empty() && !failure.isThrown();
  std::string described = of_record && meaning ? meaning(failure.hap, failure.code) : std::string();
  if (!described.empty()) {
    return described;
  }
  const CodeText* const known = findCode(failure.code);
  return of_record          ? recordCodeMeaning(failure.code)
         : known == nullptr ? std::string()
                            : known->meaning;
}

std::string textOf(const Failure& failure, const CodeMeaning& meaning) {
  const std::string hap = "HAP " + (failure.hap.empty() ? kUnknownTable : failure.hap);
  std::string text;
  switch (failure.cause) {
    case Cause::kNone:
      return {};
    case Cause::kError:
      text = hap;
      break;
    case Cause::kThrew:
      text = hap + " threw an engine exception";
      break;
    case Cause::kThrewForeign:
      text = hap + " threw an exception that is not the engine's";
      break;
    case Cause::kStaleContext:
      text = "its context was not initialized behind an earlier error end";
      break;
    case Cause::kContextEmptied:
      text = "a HAP emptied its context";
      break;
    default:
      text = (failure.hap.empty() ? "" : hap + ": ") + failure.event;
  }
  return text + textBehind(failure, meaning);
}

std::string textWithDetail(const Failure& failure, const CodeMeaning& meaning) {
  const std::string detail = detailText(failure);
  return textOf(failure, meaning) + (detail.empty() ? "" : "; " + detail);
}

std::string reasonOf(const Failure& failure) {
  switch (failure.cause) {
    case Cause::kUndefined:
    case Cause::kNestLimit:
    case Cause::kLock:
    case Cause::kUnlock:
    case Cause::kTableMissing:
    case Cause::kTableNestLimit:
    case Cause::kRefused:
      return failure.event;
    case Cause::kThrew:
      return findCode(failure.code) != nullptr
                 ? std::string()
                 : "the HAP threw an exception with code " + hexText(failure.code);
    default:
      return {};
  }
}

std::string endedByText(const Request& request) {
  if (!request.ended_by || (request.first_failing && *request.ended_by == *request.first_failing)) {
    return {};
  }
  return rowText(*request.ended_by) + (request.ended_by_command == Command::kEnd
                                           ? ", an END with a message"
                                       : request.ended_by_command == Command::kCheck ? ", a CHECK"
                                                                                     : "");
}

std::string outcomeText(const RequestSummary& summary, const CodeMeaning& meaning) {
  const Request& request = summary.request;
  if (request.ending == Ending::kOpen) {
    return openText(summary, meaning);
  }
  if (request.ending == Ending::kWaits) {
    return waitText(summary, meaning);
  }
  std::string text = nameOf(request.ending);
  if (request.hasFailed()) {
    text += request.first_failing ? ": " + rowText(*request.first_failing) : "";
    const std::string what = textWithDetail(request.failure, meaning);
    text += what.empty() ? "" : ": " + what;
  }
  const std::string ended_by = endedByText(request);
  text += ended_by.empty() ? "" : "; ended by " + ended_by;
  text += request.start_lost ? "; its start is not in the ring" : "";
  return text + notesText(request);
}

}  // namespace kw::trx::tools
