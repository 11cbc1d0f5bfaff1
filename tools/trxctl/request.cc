// SPDX-License-Identifier: Apache-2.0
#include "trxctl/request.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "kw/platform.h"
#include "kw/sysobj/tree_path.h"
#include "kw/trx/trx.h"
#include "kw/trx/trx_config.h"
#include "support/thread_exit.h"
#include "trxctl/codes.h"
#include "trxctl/commands.h"
#include "trxctl/configuration.h"
#include "trxctl/failure_reason.h"
#include "trxctl/record_collector.h"

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

void stopEngine(int number) {
  constexpr char notice[] =
      "\ntrxctl: interrupted; stops before the next row, and at once when interrupted again\n";
  interrupted_engine->setStopFlag(true);
  static_cast<void>(std::signal(number, SIG_DFL));
  static_cast<void>(!write(STDERR_FILENO, notice, sizeof(notice) - 1));
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

std::string printableText(const void* data, std::size_t size) {
  std::string text(static_cast<const char*>(data), size);
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c > '~'; }, '.');
  return text;
}

void printDetail(trx::TRXError& error) {
  const unsigned int code = error.getErrCode();
  std::vector<unsigned char> detail(error.getHAPErrorDetailSize());
  if ((code & trx::kRecordClassHAP) != 0 && !detail.empty()) {
    std::vector<unsigned int> words(detail.size() / sizeof(unsigned int) + 1);
    error.getHAPErrorDetail(words.data(), static_cast<unsigned int>(detail.size()));
    std::cout << "    detail:" << wordsText(words.data(), detail.size()) << '\n';
  }
  if ((code & trx::kRecordClassAPI) != 0 && error.getAPIErrorSize() > 0) {
    const auto size = static_cast<std::size_t>(error.getAPIErrorSize());
    std::cout << "    API data:" << wordsText(error.getAPIError(), size)
              << ", as text: " << printableText(error.getAPIError(), size) << '\n';
  }
}

/// The error record holds what was written into it last: by the failure itself, or by an earlier
/// one that a table went on from.
void printErrorRecord(trx::TRXError& error) {
  const unsigned int code = error.getErrCode();
  const bool of_hap = !error.getErrHAPName().empty() && code != trx::kRecordTableNotLoaded;
  if (!of_hap && code == 0) {
    return;
  }
  std::cout << "  last error record" << (of_hap ? ", of HAP " + error.getErrHAPName() : "")
            << ":\n";
  std::cout << "    error code: "
            << (code == 0 ? "none was given" : hexText(code) + ", " + recordCodeMeaning(code))
            << '\n';
  printDetail(error);
  std::vector<kw::sysobj::Component*> units;
  error.getErrUnitList(units);
  for (const kw::sysobj::Component* unit : units) {
    kw::sysobj::TreePath path;
    unit->getTreePath(path);
    std::cout << "    unit concerned: " << unit->getType() << ':' << unit->getNo() << ' '
              << path.toString() << '\n';
  }
}

/// Says what is known of a failure.
void printFailure(trx::TRXInfo& info, const std::string& reason) {
  if (!info.error.errTableName.empty()) {
    std::cout << "  first failing row: table " << info.error.errTableName << ", NUMBER "
              << hexText(info.error.errCmdNumber) << '\n';
  }
  if (!reason.empty()) {
    std::cout << "  reason: " << reason << '\n';
  }
  printErrorRecord(info.error);
  if (!info.getTblRtnMsg().empty()) {
    std::cout << "  message of the table: " << info.getTblRtnMsg() << '\n';
  }
}

/// All numbers are 0 or above.
bool readNumber(const std::string& text, int& number) {
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  return read.ec == std::errc() && read.ptr == end && number >= 0;
}

/// The parts of `text` between separators, empty ones too.
std::vector<std::string> partsOf(const std::string& text, char separator) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == separator) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

/// Ends the tool: the HAP ends the thread that the tool lives in.
[[noreturn]] void endWithThread(const std::string& what) {
  std::cout << what << paint(Colour::kRed, " failed") << ": its HAP ended the thread that ran it"
            << std::endl;
  std::_Exit(kExitFindings);
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
  std::vector<std::string> fields = partsOf(text, ':');
  std::vector<std::string> names =
      fields.size() == 3 ? partsOf(fields[2], '/') : std::vector<std::string>{text};
  int type = 0;
  int no = 0;
  if (fields.size() < 2 || fields.size() > 3 || !readNumber(fields[0], type) ||
      !readNumber(fields[1], no) || std::count(names.begin(), names.end(), "") != 0) {
    throw CLI::ValidationError("--unit", "'" + text +
                                             "' is not TYPE:NO or TYPE:NO:PATH, such as 300:2 or "
                                             "300:2:rack/rail2");
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
    fail(exceptionText(exception.getCode()) + loadFailureText(collector.taken()) +
         (text == nullptr ? "" : std::string("\n  ") + text->advice));
    return false;
  }
  engine->setHAPAPI(new QuietAPI);
  interrupted_engine = engine;
  static_cast<void>(std::signal(SIGINT, stopEngine));
  return true;
}

ZQM_TRX_HANDLES_THREAD_EXIT int runRequest(trx::TRXInfo& info, const Request& request,
                                           const std::string& reason) {
  const auto begin = std::chrono::steady_clock::now();
  std::string outcome;
  while (outcome.empty()) {
    try {
      request.call();
      const std::chrono::duration<double, std::milli> time =
          std::chrono::steady_clock::now() - begin;
      char text[32];
      std::snprintf(text, sizeof(text), "%.1f ms", time.count());
      std::cout << request.what << paint(Colour::kGreen, " succeeded") << " after " << text << '\n';
      return kExitOk;
    } catch (const trx::TRXException& exception) {
      if (exception.getCode() == trx::kCodeWaitHandOver && request.wait) {
        request.wait(exception.getDetail());
        continue;
      }
      outcome = exceptionText(exception.getCode());
    } catch (const std::exception& exception) {
      outcome = std::string("an exception that is not the engine's: ") + exception.what();
    } catch (const trx::ThreadExit&) {
      endWithThread(request.what);
    } catch (...) {
      outcome = "an exception that is not the engine's";
    }
  }
  std::cout << request.what << paint(Colour::kRed, " failed") << " with " << outcome << '\n';
  printFailure(info, reason);
  return kExitFindings;
}

}  // namespace kw::trx::trxctl
