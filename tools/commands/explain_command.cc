// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "command_line/command_line.h"
#include "command_line/text_output.h"
#include "common/characters.h"
#include "common/json.h"
#include "common/text.h"
#include "kw/trx/errors.h"
#include "table/code_meanings.h"
#include "trace/advice.h"
#include "trace/catalogue.h"
#include "trace/codes.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kCodeDigits = 8;
constexpr std::size_t kPartWidth = 8;

/// What is said of a code.
struct Explanation {
  std::uint32_t code;
  std::string kind;  ///< what it is a code of
  std::string name;  ///< of a constant, of a record, or of who knows it
  std::vector<std::pair<const char*, std::string>> parts;
};

constexpr char kMeans[] = "means";
constexpr char kValues[] = "values";
constexpr char kCauses[] = "causes";
constexpr char kAdvice[] = "advice";

Explanation explanationOf(const CodeText& text) {
  const bool record = text.code >= trx::kRecordUndefinedHAP;
  return {text.code,
          record ? "error code" : "exception",
          text.name,
          {{kMeans, text.meaning}, {kCauses, text.causes}, {kAdvice, text.advice}}};
}

Explanation explanationOf(const Point& point) {
  Explanation found{point.id,
                    "trace id",
                    std::string(levelName(point.level)) + " record of " + point.origin,
                    {{kMeans, point.sentence}}};
  if (*point.values != '\0') {
    found.parts.emplace_back(kValues, point.values);
  }
  if (const Advice* advice = findAdvice(point); advice != nullptr) {
    found.parts.emplace_back(kCauses, advice->causes);
    found.parts.emplace_back(kAdvice, advice->advice);
  }
  return found;
}

/// What the engine means by a number: nothing, a code, the id of a record, or both.
std::vector<Explanation> explanationsOf(std::uint32_t number) {
  std::vector<Explanation> found;
  if (const CodeText* text = findCode(number)) {
    found.push_back(explanationOf(*text));
  }
  if (const Point* point = findPoint(number)) {
    found.push_back(explanationOf(*point));
  }
  return found;
}

/// A code that the engine does not give: as descriptions of HAPs explain it, else by its class.
std::vector<Explanation> explanationsOfHAPs(std::uint32_t number) {
  const std::optional<HAPDescriptions> descriptions = configuredDescriptions();
  std::vector<Explanation> found;
  for (const auto& [hap, description] : descriptions.value_or(HAPDescriptions())) {
    const auto error = description.errors.find(number);
    if (error != description.errors.end()) {
      found.push_back({number, "error", "of the HAP " + visible(hap), {{kMeans, error->second}}});
    }
  }
  if (found.empty()) {
    found.push_back(
        {number,
         "error code or exception",
         "of a HAP, not of the engine",
         {{kMeans, recordCodeMeaning(number)},
          {kAdvice, descriptions
                        ? "look into the documentation of the HAP that failed: no configured "
                          "module describes this code"
                        : "give the system root of the host with --root, which tells the meaning "
                          "if one of its modules describes it; else look into the documentation of "
                          "the HAP that failed"}}});
  }
  return found;
}

/// All that is known of `code`. Throws `std::runtime_error` when it is no code.
std::vector<Explanation> explanationsOf(const std::string& code) {
  if (const CodeText* const text = findCode(code)) {
    return {explanationOf(*text)};
  }
  const bool has_prefix = code.rfind("0x", 0) == 0;
  const std::optional<std::uint32_t> number = hexNumber(code);
  std::vector<Explanation> found = number ? explanationsOf(*number) : std::vector<Explanation>();
  if (const auto decimal = decimalNumber(code); found.empty() && decimal) {
    found = explanationsOf(*decimal);
  }
  if (!found.empty()) {
    return found;
  }
  const std::size_t start = has_prefix ? 2 : 0;
  if (!number && code.size() > start + kCodeDigits &&
      code.find_first_not_of("0123456789abcdefABCDEF", start) == std::string::npos) {
    throw std::runtime_error("'" + code + "' is too long: a code has at most 8 hexadecimal digits");
  }
  if (!number) {
    throw std::runtime_error(inQuotes(code) + " is no code; write one such as 0x7000a");
  }
  return explanationsOfHAPs(*number);
}

void print(const Explanation& one) {
  std::cout << hexText(one.code) << " as " << (one.kind[0] == 'e' ? "an " : "a ") << one.kind
            << (one.kind == "error" || one.name.rfind("of ", 0) == 0 ? " " : ": ") << one.name
            << '\n';
  for (const auto& [name, text] : one.parts) {
    const std::string head = std::string(name) + ':';
    std::cout << "  " << head << std::string(kPartWidth - head.size(), ' ') << text << '\n';
  }
}

std::string jsonOf(const std::vector<Explanation>& all) {
  JsonWriter json(2);
  startOutput("explain", json);
  json.key("codes").beginArray();
  for (const Explanation& one : all) {
    json.beginObject().member("code", hexText(one.code)).member("kind", one.kind);
    json.member("name", one.name);
    for (const auto& [name, text] : one.parts) {
      json.member(name, text);
    }
    json.endObject();
  }
  return json.endArray().endObject().taken();
}

int explain(const std::vector<std::string>& codes, bool is_json) {
  std::vector<Explanation> all;
  int status = kExitOk;
  for (const std::string& code : codes) {
    try {
      for (const Explanation& one : explanationsOf(code)) {
        is_json ? all.push_back(one) : print(one);
      }
    } catch (const std::runtime_error& error) {
      status = fail(error.what());
    }
  }
  if (is_json) {
    std::cout << jsonOf(all) << '\n';
  }
  return status;
}

/// The trace reference of the documentation.
void printReference() {
  std::cout
      << "# Trace reference\n\n"
         "Every record that the engine writes, by its id. The words in braces are values of the\n"
         "record; those with the form x are hexadecimal, u unsigned, d signed, s text. This page "
         "is\n"
         "what `trxctl explain --all` prints of `src/shared/zqm_trx/trace_catalogue.def`; `trxctl "
         "explain "
         "ID`\n"
         "adds usual causes and what to do.\n\n"
         "| id | level | written by | meaning | values |\n|---|---|---|---|---|\n";
  for (const Point& point : allPoints()) {
    std::cout << "| " << std::hex << std::setw(8) << std::setfill('0') << point.id << " | "
              << levelName(point.level) << " | `" << point.origin << "` | " << point.sentence
              << " | " << point.values << " |\n";
  }
}

void describeExplain(CommandOptions& command) {
  struct Options {
    std::vector<std::string> codes;
    bool all = false;
    bool json = false;
  };
  auto options = std::make_shared<Options>();
  command.texts(options->codes,
                {"CODE", "Codes such as 0x7000b, or names of constants such as kCodeLock"});
  command.flag(options->all, {"--all", "Print a page with every trace id instead"});
  command.json(options->json);
  command.excludes("--all", {"CODE", "--json"});
  command.run([options] {
    if (options->all) {
      printReference();
      return kExitOk;
    }
    if (options->codes.empty()) {
      throw UsageError("CODE is required");
    }
    return explain(options->codes, options->json);
  });
}

const RegisteredCommand kExplainCommand(
    {"explain", Group::kTraces, "Explains exception codes, error codes and trace ids",
     "What it means, its usual causes, and what to do. A code without 0x is taken as hexadecimal, "
     "or as decimal if that alone is known. Codes of HAPs are looked for in the descriptions of "
     "the configured modules.",
     "0x7000b", "all codes were explained", ""},
    describeExplain);

}  // namespace
}  // namespace kw::trx::tools
