// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include "kw/trx/trx.h"
#include "trxctl/commands.h"
#include "trxctl/request.h"

namespace kw::trx::trxctl {
namespace {

/// Room for the result words of a HAP, which says nowhere how many it writes.
constexpr std::size_t kResultWords = 1024;

struct HAPOptions : RequestOptions {
  std::string mode;
  std::vector<unsigned int> para;
  std::size_t results = 0;
};

int runHAP(const HAPOptions& options) {
  Units units(options.units);
  if (!startEngine(options)) {
    return kExitFailed;
  }
  trx::TRXInfo info;
  std::vector<unsigned int> results(kResultWords);
  const unsigned int* para = options.para.empty() ? nullptr : options.para.data();
  const int status = runRequest(
      info, "HAP " + options.name,
      [&] {
        trx::TRX::getInstance()->execHAP(&info, units.list(), options.name, options.mode, para,
                                         results.data());
      },
      [](unsigned int) {});
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
      "Example: trxctl hap PSU_SetVoltage --root /opt/board --unit 300:2 --para 3300\n"
      "Exit status: 0 the HAP succeeded; 1 it failed; 2 it could not be run.");
  addRequestOptions(*command, *options, "The HAP");
  command->add_option("--mode", options->mode, "The mode text")->type_name("TEXT");
  command->add_option("--para", options->para, "A parameter word, such as 3300 or 0xce4; repeat it")
      ->type_name("WORD")
      ->allow_extra_args(false);
  command
      ->add_option("--results", options->results,
                   "How many result words to print; else those up to the last that is not 0")
      ->type_name("NUMBER")
      ->check(CLI::Range(std::size_t{1}, kResultWords));
  command->callback([options, &status] { status = runHAP(*options); });
}

}  // namespace kw::trx::trxctl
