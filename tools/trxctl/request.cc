// SPDX-License-Identifier: Apache-2.0
#include "trxctl/request.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <sstream>

#include "kw/platform.h"
#include "kw/sysobj/tree_path.h"
#include "kw/trx/trx.h"
#include "kw/trx/trx_config.h"
#include "support/trace.h"
#include "trxctl/codes.h"
#include "trxctl/commands.h"
#include "trxctl/configuration.h"
#include "trxctl/record_collector.h"
#include "trxctl/trace_catalogue.h"

namespace kw::trx::trxctl {
namespace {

constexpr std::size_t kRingRecords = 65536;

/// Type and number of the objects above a unit, which no HAP asks for.
constexpr int kNoType = 0;

/// An API object that does nothing.
class QuietAPI : public hapapi::HAPAPI {
 public:
  void beginHAPExec(trx::TRXInfo*) override {}
  void endHAPExec(trx::TRXInfo*) override {}
  unsigned int getTraceClass() override { return 8; }
};

trx::TRX* interrupted_engine = nullptr;

void stopEngine(int) { interrupted_engine->setStopFlag(true); }

/// What the records of a failed load say, in the order of its steps.
std::string reasonOf(const std::vector<kw::platform::TraceRecord>& records) {
  std::string loader;
  std::string reason;
  for (const kw::platform::TraceRecord& record : records) {
    if (record.id == trx::kLibLoadReason.id) {
      loader += textOf(record);
    } else if (record.id == trx::kLibLoadFailed.id) {
      loader.clear();
    } else if (record.level == trx::kLevelError && record.id != trx::kTblLoadException.id &&
               record.id != trx::kTrxLoadHAPFailed.id && record.id != trx::kTrxLoadTableFailed.id) {
      const bool module = record.id == trx::kHAPLoadNotOpened.id;
      reason += "\n  " + describe(record) + (module ? ": " + loader : "");
    }
  }
  return reason;
}

std::string wordsText(const void* data, std::size_t size) {
  std::vector<unsigned int> words((size + sizeof(unsigned int) - 1) / sizeof(unsigned int));
  std::memcpy(words.data(), data, size);
  std::string text;
  for (const unsigned int word : words) {
    text += " " + hexText(word);
  }
  return text;
}

void printDetail(trx::TRXError& error) {
  const unsigned int code = error.getErrCode();
  std::vector<unsigned char> detail(error.getHAPErrorDetailSize());
  if ((code & trx::kRecordClassHAP) != 0 && !detail.empty()) {
    std::vector<unsigned int> words(detail.size() / sizeof(unsigned int) + 1);
    error.getHAPErrorDetail(words.data(), static_cast<unsigned int>(detail.size()));
    std::cout << "  detail:" << wordsText(words.data(), detail.size()) << '\n';
  }
  if ((code & trx::kRecordClassAPI) != 0 && error.getAPIErrorSize() > 0) {
    const auto size = static_cast<std::size_t>(error.getAPIErrorSize());
    std::cout << "  API data:" << wordsText(error.getAPIError(), size) << '\n';
  }
}

/// Says what the context holds about the failure.
void printErrorRecord(trx::TRXInfo& info) {
  trx::TRXError& error = info.error;
  if (!error.errTableName.empty()) {
    std::cout << "  first failure: table " << error.errTableName << ", row "
              << hexText(error.errCmdNumber) << '\n';
  }
  if (!error.getErrHAPName().empty()) {
    std::cout << "  HAP: " << error.getErrHAPName() << '\n';
  }
  if (error.getErrCode() != 0) {
    std::cout << "  error code: " << hexText(error.getErrCode()) << ", "
              << recordCodeMeaning(error.getErrCode()) << '\n';
  }
  printDetail(error);
  std::vector<kw::sysobj::Component*> units;
  error.getErrUnitList(units);
  for (const kw::sysobj::Component* unit : units) {
    kw::sysobj::TreePath path;
    unit->getTreePath(path);
    std::cout << "  unit concerned: " << unit->getType() << ':' << unit->getNo() << ' '
              << path.toString() << '\n';
  }
  if (!info.getTblRtnMsg().empty()) {
    std::cout << "  message of the table: " << info.getTblRtnMsg() << '\n';
  }
}

}  // namespace

void addRequestOptions(CLI::App& command, RequestOptions& options, const std::string& what) {
  command.add_option("NAME", options.name, what)->required();
  command
      .add_option("--unit", options.units,
                  "A unit to work on, such as 300:2:rack/rail2; repeat it for further units")
      ->type_name("TYPE:NO[:PATH]")
      ->allow_extra_args(false);
  command.add_flag("--debug-modules", options.debug_modules, "Load debug modules as well");
  command.add_option("--ring", options.ring, "Write the trace of the run to this new ring file")
      ->type_name("FILE");
}

Units::Units(const std::vector<std::string>& texts) {
  for (const std::string& text : texts) {
    add(text);
  }
}

void Units::add(const std::string& text) {
  std::istringstream in(text);
  int type = -1;
  int no = -1;
  char colon = '\0';
  std::string names_text = text;
  const bool has_numbers = in >> type >> colon >> no && colon == ':' && type >= 0 && no >= 0;
  const bool has_names = has_numbers && in.peek() == ':' && in.ignore() &&
                         std::getline(in, names_text) && !names_text.empty();
  if (!has_numbers || (!has_names && in.peek() != std::istringstream::traits_type::eof())) {
    throw CLI::ValidationError("--unit", "'" + text +
                                             "' is not TYPE:NO or TYPE:NO:PATH, such as 300:2 or "
                                             "300:2:rack/rail2");
  }
  std::istringstream path(names_text);
  std::vector<std::string> names;
  for (std::string name; std::getline(path, name, '/');) {
    names.push_back(name);
  }
  const kw::sysobj::Component* parent = nullptr;
  for (std::size_t i = 0; i + 1 < names.size(); ++i) {
    owned_.push_back(std::make_unique<kw::sysobj::Component>(kNoType, 0, names[i], parent));
    parent = owned_.back().get();
  }
  owned_.push_back(std::make_unique<kw::sysobj::Component>(type, no, names.back(), parent));
  list_.push_back(owned_.back().get());
}

bool startEngine(const RequestOptions& options) {
  if (!options.ring.empty() &&
      kw::platform::openTraceRing(absolutePath(options.ring), kRingRecords) != 0) {
    fail(options.ring + ": " + std::strerror(errno) + "; choose another place for the ring");
    return false;
  }
  const std::string problem = loadConfiguration();
  if (!problem.empty()) {
    fail(problem + "; name the system root with --root, and see trxctl config");
    return false;
  }
  if (trx::TRXConfig::getInstance().isExclusionControl()) {
    trx::TRX::startUp();
  }
  RecordCollector collector(kw::platform::kTraceAll);
  trx::TRX* engine = trx::TRX::getInstance();
  try {
    engine->load(options.debug_modules);
  } catch (const trx::TRXException& exception) {
    const CodeText* text = findCode(exception.getCode());
    fail(hexText(exception.getCode()) + ": " + (text == nullptr ? "" : text->meaning) +
         reasonOf(collector.taken()) + "\n  " + (text == nullptr ? "" : text->advice));
    return false;
  }
  engine->setHAPAPI(new QuietAPI);
  interrupted_engine = engine;
  static_cast<void>(std::signal(SIGINT, stopEngine));
  return true;
}

int runRequest(trx::TRXInfo& info, const std::string& what, const std::function<void()>& call,
               const std::function<void(unsigned int time_ms)>& wait) {
  const auto begin = std::chrono::steady_clock::now();
  std::string outcome;
  while (outcome.empty()) {
    try {
      call();
      const std::chrono::duration<double, std::milli> time =
          std::chrono::steady_clock::now() - begin;
      char text[32];
      std::snprintf(text, sizeof(text), "%.1f ms", time.count());
      std::cout << what << paint(Colour::kGreen, " succeeded") << " after " << text << '\n';
      return kExitOk;
    } catch (const trx::TRXException& exception) {
      if (exception.getCode() == trx::kCodeWaitHandOver) {
        wait(exception.getDetail());
        continue;
      }
      const CodeText* text = findCode(exception.getCode());
      outcome =
          hexText(exception.getCode()) + (text == nullptr ? "" : std::string(": ") + text->meaning);
    } catch (const std::exception& exception) {
      outcome = std::string("an exception that is not the engine's: ") + exception.what();
    } catch (...) {
      outcome = "an exception that is not the engine's";
    }
  }
  std::cout << what << paint(Colour::kRed, " failed") << " with " << outcome << '\n';
  printErrorRecord(info);
  return kExitFindings;
}

}  // namespace kw::trx::trxctl
