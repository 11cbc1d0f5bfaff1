// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <charconv>
#include <iostream>
#include <memory>

#include "kw/trx/trx.h"
#include "trxctl/commands.h"
#include "trxctl/failure_reason.h"
#include "trxctl/record_collector.h"
#include "trxctl/request.h"

namespace kw::trx::trxctl {
namespace {

/// Room for the result words of a HAP, which says nowhere how many it writes.
constexpr std::size_t kResultWords = 1024;
/// A HAP says nowhere how many words it reads either: after those given stand zeros.
constexpr std::size_t kParaWordsLeast = 64;

struct HAPOptions : RequestOptions {
  std::string mode;
  std::vector<unsigned int> para;
  std::size_t results = 0;
};

/// What is wrong with a parameter word; empty when nothing is. A leading 0 is refused, as it could
/// mean base 8 or, as in tables, base 16.
std::string wordProblem(const std::string& word) {
  unsigned int number = 0;
  const char* const end = word.data() + word.size();
  const auto read = std::from_chars(word.data(), end, number);
  const bool decimal =
      read.ec == std::errc() && read.ptr == end && (word[0] != '0' || word.size() == 1);
  const bool hex = word.rfind("0x", 0) == 0 && hexNumber(word);
  return decimal || hex ? std::string()
                        : "'" + word + "' is no word of 32 bits; write it as 3300 or 0xce4";
}

int runHAP(const HAPOptions& options) {
  Units units(options.units);
  if (!startEngine(options)) {
    return kExitFailed;
  }
  trx::TRXInfo info;
  std::vector<unsigned int> results(kResultWords);
  std::vector<unsigned int> words = options.para;
  words.resize(std::max(words.size(), kParaWordsLeast));
  const unsigned int* para = options.para.empty() ? nullptr : words.data();
  std::string reason;
  const RecordCollector collector(kw::platform::kTraceAll,
                                  [&reason](const kw::platform::TraceRecord& record) {
                                    const std::string text = requestFailureText(record);
                                    reason = text.empty() ? reason : text;
                                  });
  const Request request{"HAP " + options.name,
                        [&] {
                          trx::TRX::getInstance()->execHAP(&info, units.list(), options.name,
                                                           options.mode, para, results.data());
                        },
                        {}};
  const int status = runRequest(info, request, reason);
  std::size_t shown = options.results;
  for (std::size_t i = shown; i < results.size() && options.results == 0; ++i) {
    shown = results[i] != 0 ? i + 1 : shown;
  }
  for (std::size_t i = 0; i < shown; ++i) {
    std::cout << "  result word " << i << ": " << results[i] << " (" << hexText(results[i])
              << ")\n";
  }
  return status;
}

}  // namespace

void addHAPCommand(CLI::App& app, int& status) {
  auto options = std::make_shared<HAPOptions>();
  CLI::App* command = addCommand(
      app, "hap", "Runs one HAP on the configured modules",
      "A HAP that relies on data which its host hangs on the context cannot be run this way.\n"
      "Without --para the HAP gets no parameter words; else zeros follow those given, to 64.\n"
      "Example: trxctl hap PSU_SetVoltage --root /opt/board --unit 300:2 --para 3300\n"
      "Exit status: 0 the HAP succeeded; 1 it failed; 2 it could not be run.");
  addRequestOptions(*command, *options, "The HAP");
  command->add_option("--mode", options->mode, "The mode text")->type_name("TEXT");
  command->add_option("--para", options->para, "A parameter word, such as 3300 or 0xce4; repeat it")
      ->type_name("WORD")
      ->allow_extra_args(false)
      ->check(CLI::Validator(wordProblem, ""));
  command
      ->add_option("--results", options->results,
                   "How many result words to print; else those up to the last that is not 0")
      ->type_name("NUMBER")
      ->check(CLI::Range(std::size_t{1}, kResultWords));
  command->callback([options, &status] { status = runHAP(*options); });
}

}  // namespace kw::trx::trxctl
