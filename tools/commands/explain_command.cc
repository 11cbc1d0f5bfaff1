// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>

#include "command_line/text_output.h"
#include "commands/commands.h"
#include "common/characters.h"
#include "common/text.h"
#include "kw/trx/errors.h"
#include "table/code_meanings.h"
#include "trace/advice.h"
#include "trace/catalogue.h"
#include "trace/codes.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kCodeDigits = 8;

void printPart(const char* name, const std::string& words) {
  std::cout << "  " << name << words << '\n';
}

void explainCode(const CodeText& text) {
  const bool record = text.code >= trx::kRecordUndefinedHAP;
  std::cout << hexText(text.code) << (record ? " as an error code: " : " as an exception: ")
            << text.name << '\n';
  printPart("means:  ", text.meaning);
  printPart("causes: ", text.causes);
  printPart("do:     ", text.advice);
}

void explainPoint(const Point& point) {
  std::cout << hexText(point.id) << " as a trace id: " << levelName(point.level) << " record of "
            << point.origin << '\n';
  printPart("means:  ", point.sentence);
  if (*point.values != '\0') {
    printPart("values: ", point.values);
  }
  if (const Advice* advice = findAdvice(point); advice != nullptr) {
    printPart("causes: ", advice->causes);
    printPart("do:     ", advice->advice);
  }
}

/// Explains the code or trace id of the engine with this number; false when there is none.
bool explainKnown(std::uint32_t number) {
  const CodeText* text = findCode(number);
  const Point* point = findPoint(number);
  if (text != nullptr) {
    explainCode(*text);
  }
  if (point != nullptr) {
    explainPoint(*point);
  }
  return text != nullptr || point != nullptr;
}

/// The number that `code` is in decimal, when that is a code or trace id of the engine.
std::optional<std::uint32_t> knownDecimal(const std::string& code) {
  const std::optional<std::uint32_t> number = decimalNumber(code);
  const bool known = number && (findCode(*number) != nullptr || findPoint(*number) != nullptr);
  return known ? number : std::nullopt;
}

/// Explains a code that the engine does not give: as descriptions of HAPs do, else by its class.
void explainOfHAPs(std::uint32_t number) {
  const std::optional<HAPDescriptions> descriptions = configuredDescriptions();
  bool found = false;
  for (const auto& [hap, description] : descriptions.value_or(HAPDescriptions())) {
    const auto error = description.errors.find(number);
    if (error != description.errors.end()) {
      std::cout << hexText(number) << " as an error of the HAP " << visible(hap) << '\n';
      printPart("means:  ", error->second);
      found = true;
    }
  }
  if (found) {
    return;
  }
  std::cout << hexText(number) << " as an error code or exception of a HAP, not of the engine\n";
  printPart("means:  ", recordCodeMeaning(number));
  printPart("do:     ", descriptions
                            ? "look into the documentation of the HAP that failed: no configured "
                              "module describes this code"
                            : "give the system root of the host with --root, which tells the "
                              "meaning if one of its modules describes it; else look into the "
                              "documentation of the HAP that failed");
}

int explain(const std::string& code) {
  const std::optional<std::uint32_t> number = hexNumber(code);
  if (number && explainKnown(*number)) {
    return kExitOk;
  }
  if (const auto decimal = knownDecimal(code)) {
    return fail("'" + code +
                "' is no hexadecimal code of the engine; if it is a decimal one, run " +
                "trxctl explain " + hexText(*decimal));
  }
  const std::size_t begin = code.rfind("0x", 0) == 0 ? 2 : 0;
  if (!number && code.size() > begin + kCodeDigits &&
      code.find_first_not_of("0123456789abcdefABCDEF", begin) == std::string::npos) {
    return fail("'" + code + "' is too long: a code has at most 8 hexadecimal digits");
  }
  if (!number) {
    return fail("'" + code + "' is no hexadecimal code; write one such as 7000a or 0x7000a");
  }
  explainOfHAPs(*number);
  return kExitOk;
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

}  // namespace

void addExplainCommand(CommandLine& line) {
  struct Options {
    std::vector<std::string> codes;
    bool all = false;
  };
  auto options = std::make_shared<Options>();
  CommandOptions command = line.add(
      "explain", "Explains exception codes, error codes and trace ids",
      "What it means, its usual causes, and what to do. Codes are hexadecimal; those of HAPs\n"
      "are looked for in the descriptions of the configured modules.\n"
      "Example: trxctl explain 0x7000b\n"
      "Exit status: 0 all codes were explained; 2 a word is no hexadecimal code.");
  command.texts(options->codes, {"CODE", "Codes such as 7000b or 0x7000b"});
  command.flag(options->all, {"--all", "Print a page with every trace id instead"});
  command.excludes("--all", {"CODE"});
  command.run([options] {
    if (options->all) {
      printReference();
    } else if (options->codes.empty()) {
      throw UsageError("CODE is required");
    }
    int status = kExitOk;
    for (const std::string& code : options->codes) {
      status = std::max(status, explain(code));
    }
    return status;
  });
}

}  // namespace kw::trx::tools
