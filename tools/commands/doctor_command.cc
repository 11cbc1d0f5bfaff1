// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iostream>
#include <memory>

#include "command_line/command_line.h"
#include "command_line/text_output.h"
#include "common/json.h"
#include "doctor/diagnosis.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kRecords = 65536;
constexpr std::size_t kMaxRecords = 16777216;

struct DoctorOptions {
  std::string ring;
  std::size_t records = kRecords;
  bool strict = false;
  bool json = false;
};

void print(const Diagnosis& one) {
  const Colour colour = one.verdict == Diagnosis::Verdict::kGood      ? Colour::kGreen
                        : one.verdict == Diagnosis::Verdict::kWarning ? Colour::kYellow
                                                                      : Colour::kRed;
  std::cout << paint(colour, nameOf(one.verdict)) << ": " << one.subject << ": " << one.message
            << '\n';
  if (!one.remedy.empty()) {
    std::cout << "    do: " << one.remedy << '\n';
  }
}

void printJson(const std::vector<Diagnosis>& found) {
  JsonWriter json(2);
  startOutput("doctor", json);
  json.key("findings").beginArray();
  for (const Diagnosis& one : found) {
    json.beginObject().member("severity", nameOf(one.verdict)).member("subject", one.subject);
    json.member("message", one.message).member("advice", one.remedy).endObject();
  }
  std::cout << json.endArray().endObject().taken() << '\n';
}

int examineMachine(const DoctorOptions& options) {
  const std::vector<Diagnosis> found = examine({ZQM_TRX_VERSION, options.ring, options.records});
  if (options.json) {
    printJson(found);
  } else {
    for (const Diagnosis& one : found) {
      print(one);
    }
  }
  const auto has = [&found](Diagnosis::Verdict verdict) {
    return std::any_of(found.begin(), found.end(),
                       [verdict](const Diagnosis& one) { return one.verdict == verdict; });
  };
  const bool finds =
      has(Diagnosis::Verdict::kError) || (options.strict && has(Diagnosis::Verdict::kWarning));
  return finds ? kExitFindings : kExitOk;
}

void describeDoctor(CommandOptions& command) {
  auto options = std::make_shared<DoctorOptions>();
  command.text(options->ring, {"--ring", "The file that the host writes its trace into", "FILE"});
  command.number(options->records,
                 {"--records", "Records that it is to have room for, 128 bytes each", "COUNT"}, 1,
                 kMaxRecords);
  command.flag(options->strict, {"--strict", "Let warnings change the exit status"});
  command.json(options->json);
  command.run([options] { return examineMachine(*options); });
}

const RegisteredCommand kDoctorCommand(
    {"doctor", Group::kMachine, "Tells whether all is there that a host on this machine needs",
     "Looks at versions, configuration, modules, tables, the lock and the place of the trace ring, "
     "and tells what to do. Run it as the user of the host.",
     "--ring /var/board/trace.ring", "nothing is wrong",
     "something is, or with --strict there are warnings"},
    describeDoctor);

}  // namespace
}  // namespace kw::trx::tools
