// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <charconv>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>

#include "kw/trx/errors.h"
#include "support/trace.h"
#include "trxctl/codes.h"
#include "trxctl/commands.h"
#include "trxctl/trace_catalogue.h"

namespace kw::trx::trxctl {
namespace {

/// Usual causes of the records from `first` to `last`, and what to do.
struct Advice {
  unsigned long first;
  unsigned long last;
  const char* causes;
  const char* advice;
};

/// For errors; what stands first counts.
constexpr Advice kAdvice[] = {
    {trx::kHAPCacheUnresolved.id, trx::kHAPCacheUnresolved.id,
     "the name is misspelt, or the module lacks ZQM_HAP() for it",
     "compare with the names that trxctl modules lists"},
    {trx::kHAPLoadNoKey.id, trx::kHAPLoadNoKey.id,
     "the file is not called libzq_hap_KEY.so, or nothing stands where its key should",
     "rename the module file, and name it so in the configuration"},
    {trx::kHAPLoadNoKeySkipped.id, trx::kHAPLoadForeignException.id,
     "a listed module is missing, of another architecture, or has unresolved symbols",
     "run trxctl modules"},
    {trx::kHAPLoadSemaphoreMissing.id, trx::kHAPLoadSemaphoreMissing.id,
     "TRX::startUp was not called on this system since it was booted, or the semaphore was removed",
     "call TRX::startUp once per system before the load"},
    {trx::kHAPLoadSemaphoreNoMemory.id, trx::kHAPLoadSemaphoreNoMemory.id,
     "the process has no memory left, or a limit on it", "free some and load again"},
    {trx::kHAPLoadSemaphoreException.id, trx::kHAPLoadSemaphoreException.id,
     "the platform's semaphore threw", "look into the platform library, then load again"},
    {trx::kHAPExecNoContext.id, trx::kHAPExecNoContext.id, "the host or HAP passed a null context",
     "pass the TRXInfo of the request"},
    {trx::kHAPExecNoKey.id, trx::kHAPExecUnresolved.id,
     "the HAP's name is misspelt, or its module is not configured or was skipped",
     "run trxctl modules: the part before the first _ is the key of the module"},
    {trx::kHAPExecNestLimit.id, trx::kHAPExecNestLimit.id, "HAPs call each other without an end",
     "look for the loop; hapmodule.nest.exec.limit is the limit"},
    {trx::kHAPExecLockFailed.id, trx::kHAPExecUnlockFailed.id,
     "the system semaphore is missing, or this process holds it in another thread",
     "see trxctl explain 0x7000c"},
    {trx::kHAPExecThrew.id, trx::kHAPErrAPIWords.id, "the HAP threw, or returned nonzero",
     "code and detail are the HAP's own: look into its module's documentation"},
    {trx::kLibLoadFailed.id, trx::kLibNoSymbolReason.id,
     "the library is missing or damaged, or it lacks a symbol", "run trxctl modules"},
    {trx::kTableNullEntry.id, trx::kTableNothingToDelete.id,
     "a program works on the commands of a table itself", "leave tables to the engine"},
    {trx::kTrxLoadHAPFailed.id, trx::kTrxLoadTableFailed.id, "a module or table cannot be loaded",
     "the records before name the file; run trxctl modules or trxctl check on it"},
    {trx::kTrxSetAPINull.id, trx::kTrxSetAPINull.id, "the host took its API object away",
     "install one before the next HAP"},
    {trx::kTrxHAPForeignException.id, trx::kTrxTableForeignException.id,
     "a HAP threw an exception of its own",
     "the host has to catch it; a table run again goes on with the same row"},
    {trx::kTrxNoModule.id, trx::kTrxNoAPI.id,
     "the host did not load a module or did not call TRX::setHAPAPI",
     "run trxctl modules; install an API object after load"},
    {trx::kTrxTableRefused.id, trx::kTrxContextRunning.id, "two threads share one context",
     "use one TRXInfo a request"},
    {trx::kTrxSemaphoreNotCreated.id, trx::kTrxSemaphoreNotCreated.id,
     "usually it exists already, which is no failure", "ipcs -s shows it under key 0x0056f9a0"},
    {trx::kConfigNoPathFile.id, trx::kConfigNoEntry.id,
     "a file or a key of the configuration is missing or misspelt", "run trxctl config"},
    {trx::kErrorNoAPIData.id, trx::kInfoTableStackEmpty.id,
     "a HAP or host passed nothing to a context or its error record",
     "look into the HAP or host that wrote the record; nothing was changed"},
    {trx::kTblLoadNoNameSkipped.id, trx::kDataKeyNotHex.id,
     "a table file is missing, or breaks a rule of table files",
     "run trxctl config, then trxctl check on the file"},
    {trx::kDriverErrorEnd.id, trx::kDriverErrorEnd.id,
     "a row failed, an END row has a message, or a table is missing",
     "the records before tell which; trxctl table shows the run row by row"},
    {trx::kDriverNestLimit.id, trx::kDriverNestLimit.id, "tables call each other without an end",
     "run trxctl check and trxctl graph; haptable.nest.exec.limit is the limit"},
    {trx::kDriverStart.id, trx::kListMissing.id, "the table is misspelt or not loaded",
     "run trxctl check and trxctl config"},
    {trx::kCmdCheckJump.id, trx::kCmdHAPForeignException.id,
     "a HAP of this or an earlier row failed",
     "the error record and the records before name the HAP and its error"},
    {trx::kFmtFileInvalid.id, trx::kFmtCharacter.id, "the file breaks a rule of table files",
     "run trxctl check on the file: it names line, column and reason of every fault"},
    {trx::kUnitType.id, trx::kUnitType.id, "a unit of another type was passed",
     "pass units of the types that the record names"},
};

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
  for (const Advice& advice : kAdvice) {
    if (point.level == trx::kLevelError && point.id >= advice.first && point.id <= advice.last) {
      printPart("causes: ", advice.causes);
      printPart("do:     ", advice.advice);
      return;
    }
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
  std::uint32_t number = 0;
  const char* const end = code.data() + code.size();
  const auto read = std::from_chars(code.data(), end, number);
  const bool known = read.ec == std::errc() && read.ptr == end &&
                     (findCode(number) != nullptr || findPoint(number) != nullptr);
  return known ? std::optional<std::uint32_t>(number) : std::nullopt;
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
  if (!number) {
    return fail("'" + code + "' is no hexadecimal code; write one such as 7000a or 0x7000a");
  }
  std::cout << hexText(*number)
            << " is no code and no trace id of the engine. As the error code or "
            << "exception of a HAP:\n";
  printPart("means:  ", recordCodeMeaning(*number));
  printPart("do:     ", "look into the documentation of the HAP that failed");
  return kExitOk;
}

/// The trace reference of the documentation.
void printReference() {
  std::cout
      << "# Trace reference\n\n"
         "Every record that the engine writes, by its id. The words in braces are values of the\n"
         "record; those with the form x are hexadecimal, u unsigned, d signed, s text. This page "
         "is\n"
         "what `trxctl explain --all` prints of `src/support/trace_catalogue.def`; `trxctl explain "
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

void addExplainCommand(CLI::App& app, int& status) {
  auto codes = std::make_shared<std::vector<std::string>>();
  CLI::App* command =
      addCommand(app, "explain", "Explains exception codes, error codes and trace ids",
                 "What it means, its usual causes, and what to do. Codes are hexadecimal.\n"
                 "Example: trxctl explain 0x7000b\n"
                 "Exit status: 0 all codes were explained; 2 a word is no hexadecimal code.");
  auto all = std::make_shared<bool>(false);
  CLI::Option* option = command->add_option("CODE", *codes, "Codes such as 7000b or 0x7000b");
  command->add_flag("--all", *all, "Print a page with every trace id instead")->excludes(option);
  command->callback([codes, all, &status] {
    if (*all) {
      printReference();
    } else if (codes->empty()) {
      throw CLI::RequiredError("CODE");
    }
    for (const std::string& code : *codes) {
      status = std::max(status, explain(code));
    }
  });
}

}  // namespace kw::trx::trxctl
