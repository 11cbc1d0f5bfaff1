// SPDX-License-Identifier: Apache-2.0
#include "worker.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <iterator>
#include <stdexcept>

#include "kw/trx/errors.h"
#include "kw/trx/hap_controller.h"
#include "kw/trx/table_driver.h"
#include "truth_log.h"

namespace kw::trx::truth {
namespace {

constexpr int kBudget = 20;
constexpr int kDeepestRequest = 2;

trx::TRX& engine() { return *trx::TRX::getInstance(); }

/// What is attached to the context of a request.
struct ToWorker : Steering {
  explicit ToWorker(Context& with_context) : context(with_context) {}
  int run(trx::TRXInfo*, const char* name, const char* mode) override {
    return context.worker->runHAP(context, name, mode);
  }
  Context& context;
};

/// Outcome of a call of the engine.
struct Outcome {
  const char* name = "ok";
  unsigned int code = 0, detail = 0;
};

Outcome outcomeOf(const std::function<void()>& call, std::exception_ptr* caught = nullptr) {
  try {
    call();
    return {};
  } catch (const trx::TRXException& exception) {
    if (caught != nullptr) *caught = std::current_exception();
    return {"throw", exception.getCode(), exception.getDetail()};
  } catch (...) {
    if (caught != nullptr) *caught = std::current_exception();
    return {"foreign", 0, 0};
  }
}

}  // namespace

void Worker::run() {
  for (std::size_t i = 0; i < process_.plan.requests && !process_.hangs; ++i) {
    if (below(2) == 0 && goOn()) continue;
    request(nullptr);
    if (engine().isStopFlag()) {
      if (below(2) == 0) request(nullptr);
      engine().setStopFlag(false);
    }
  }
  while (!process_.hangs && !happens(Rare::kAbandon) && goOn()) {
  }
  const std::lock_guard<std::mutex> lock(process_.mutex);
  process_.handed_over.splice(process_.handed_over.end(), waiting_);
  for (std::unique_ptr<Context>& context : contexts_) {
    context.release();  // hung threads and other ones may use it to the end of the process
  }
}

/// One that runs nothing and waits for nothing, not always initialised.
Context& Worker::contextFor(const Context* outer) {
  Context* context = nullptr;
  if (outer == nullptr && !idle_.empty() && below(2) == 0) {
    context = idle_.front();
    idle_.pop_front();
  } else {
    const std::uint64_t id = 0x10000000U + nextSerial();
    contexts_.push_back(process_.plan.unique_ids
                            ? std::make_unique<Context>(static_cast<std::uint32_t>(id))
                            : std::make_unique<Context>());
    context = contexts_.back().get();
  }
  // What an interrupted request left must not be gone on with: that is not what is asked for here.
  if (!context->info.isTblCtlInfoEmpty() || !happens(Rare::kForget)) {
    context->info.initialize();
    context->is_used = false;
  }
  delete context->info.getHAPAPIExpandData();
  context->info.setHAPAPIExpandData(new ToWorker(*context));
  context->serial = nextSerial();
  context->budget = kBudget;
  if (happens(Rare::kErrorsOff)) context->info.setErrDisable(true);
  return *context;
}

Units Worker::someUnits() {
  Units units;
  for (std::size_t i = below(4) == 0 ? below(11) : below(3); i > 0; --i) {
    const std::size_t all = process_.components.size() - (happens(Rare::kOddNames) ? 0 : 2);
    units.push_back(process_.components[below(all)].get());
  }
  return units;
}

std::string Worker::someHAP() {
  if (happens(Rare::kRefusal)) {
    const char* const names[] = {"TRU_None", "NOPE_A", "_X", ""};
    return names[below(std::size(names))];
  }
  if (happens(Rare::kOddNames)) return below(3) == 0 ? "TRU_\tX" : kLatinHAP;
  return kHAPNames[below(std::size(kHAPNames) - 1)];
}

std::string Worker::someTable() {
  if (happens(Rare::kRefusal)) return "none";
  if (happens(Rare::kOddNames)) return below(3) == 0 ? "t\tb" : "t\xe9";
  return "t" + std::to_string(below(below(2) == 0 ? 2 : 5));
}

void Worker::request(const Context* outer) {
  if (happens(Rare::kRefusal)) return refused(nullptr);
  Context& context = contextFor(outer);
  ++depth_;
  if (below(5) < 2) {
    hapRequest(context, outer);
  } else {
    tableRequest(context, outer);
  }
  --depth_;
}

void Worker::tell(const char* kind, const Context& context, const std::string& name,
                  const std::string& mode, const Units& units, const Context* outer) {
  Event("request")
      .number("n", context.serial)
      .number("id", context.info.trxId)
      .text("kind", kind)
      .text("name", name)
      .text("mode", mode)
      .units(units)
      .number("in", outer == nullptr ? 0 : outer->calls.back())
      .number("used", context.is_used ? 1 : 0)
      .number("marked", context.info.isTblCmdErrStack() ? 1 : 0)
      .number("errorEnd", context.info.isTblErrEnd() ? 1 : 0)
      .number("errorsOff", context.info.isErrDisables() ? 1 : 0)
      .text("firstTable", context.info.error.errTableName);
}

void Worker::hapRequest(Context& context, const Context* outer) {
  const std::string name = someHAP();
  const std::string mode = below(3) == 0 ? "mode" + std::to_string(below(4)) : "";
  Units units = someUnits();
  tell("hap", context, name, mode, units, outer);
  enter(context, [&] { engine().execHAP(&context.info, units, name, mode, nullptr, nullptr); });
}

void Worker::tableRequest(Context& context, const Context* outer) {
  const std::string name = someTable();
  Units units = someUnits();
  tell("table", context, name, "", units, outer);
  if (below(2) == 0) {
    return enter(context, [&] { engine().execTable(&context.info, units, name); });
  }
  context.info.setTableUnitList(units);
  context.info.setTableName(name);
  enter(context, [&] { engine().execTable(&context.info); });
}

/// One call of the engine, from its start to its end; of a request with waits one of several.
void Worker::enter(Context& context, const std::function<void()>& call) {
  context.worker = this;
  context.is_used = true;
  Event("part").number("n", context.serial);
  const Outcome outcome = outcomeOf(call);
  const trx::TRXError& error = context.info.error;
  const bool waits = !context.info.isTblCtlInfoEmpty() && outcome.code == trx::kCodeWaitHandOver;
  Event("partEnd")
      .number("n", context.serial)
      .text("out", outcome.name)
      .number("code", outcome.code)
      .number("waitMs", outcome.detail)
      .number("waits", waits ? 1 : 0)
      .text("table", error.errTableName)
      .number("row", error.errCmdNumber)
      .number("errCode", error.getErrCode())
      .text("errHap", error.getErrHAPName())
      .text("message", context.info.getTblRtnMsg())
      .number("marked", context.info.isTblCmdErrStack() ? 1 : 0);
  if (!waits) {
    idle_.push_back(&context);
  } else if (happens(Rare::kHandOver)) {
    const std::lock_guard<std::mutex> lock(process_.mutex);
    process_.handed_over.push_back(&context);
  } else if (!happens(Rare::kAbandon)) {
    waiting_.push_back(&context);
  }
}

/// Goes on with a table that waits. Contexts of one id wait at once in seeds of their own only.
bool Worker::goOn() {
  Context* context = nullptr;
  std::list<Context*>* from = &waiting_;
  std::unique_lock<std::mutex> lock(process_.mutex);
  if (below(2) == 0 || waiting_.empty()) from = &process_.handed_over;
  if (from->empty()) return false;
  const auto at = std::next(from->begin(), static_cast<std::ptrdiff_t>(below(from->size())));
  context = *at;
  from->erase(at);
  lock.unlock();
  enter(*context, [&] { engine().execTable(&context->info); });
  return true;
}

/// Requests that the engine does not admit: of a context that runs, or of none.
void Worker::refused(Context* running) {
  Context nobody;
  trx::TRXInfo* const info = running == nullptr ? nullptr : &running->info;
  Units units;
  const std::size_t way = info == nullptr ? 0 : below(3);
  const std::uint64_t serial = nextSerial();
  Event("request")
      .number("n", serial)
      .number("id", info != nullptr && way != 2 ? info->trxId : trx::TRX::getTRXID())
      .text("kind", way == 0 ? "hap" : "table")
      .text("name", "")
      .text("mode", "")
      .units(units)
      .number("in", running == nullptr ? 0 : running->calls.back())
      .number("refused", 1);
  Event("part").number("n", serial);
  const Outcome outcome = outcomeOf([&] {
    if (way == 0) engine().execHAP(info, units, "TRU_A", "", nullptr, nullptr);
    if (way == 1) engine().execTable(info);
    if (way == 2) engine().execTable(info, units, "t0");
  });
  Event("partEnd").number("n", serial).text("out", outcome.name).number("code", outcome.code);
}

int Worker::runHAP(Context& context, const char* name, const char* mode) {
  const std::uint64_t serial = nextSerial();
  const trx::TblCtlInfo* const table = context.info.getCurTblCtlInfo();
  Units units;
  context.info.getHAPUnitList(units);
  Event("hap")
      .number("h", serial)
      .number("n", context.serial)
      .number("in", context.calls.empty() ? 0 : context.calls.back())
      .text("name", name)
      .text("mode", mode == nullptr ? "" : mode)
      .units(units)
      .text("table", table == nullptr ? "" : table->tableName)
      .number("index", table == nullptr ? 0 : static_cast<std::uint64_t>(table->index));
  context.calls.push_back(serial);
  int result = 0;
  std::exception_ptr caught;
  Outcome outcome = outcomeOf([&] { result = act(context, name); }, &caught);
  if (result != 0) outcome = {"fail", context.info.error.getErrCode(), 0};
  context.calls.pop_back();
  Event("hapEnd")
      .number("h", serial)
      .text("out", outcome.name)
      .number("code", outcome.code)
      .number("disabled", context.info.isErrDisables() ? 1 : 0)
      .number("stopped", engine().isStopFlag() ? 1 : 0);
  if (caught) std::rethrow_exception(caught);
  return result;
}

int Worker::act(Context& context, const std::string& name) {
  if (--context.budget < 0) return 0;
  for (std::size_t steps = below(3); steps > 0; --steps) step(context, name);
  return finish(context);
}

void Worker::step(Context& context, const std::string& name) {
  if (happens(Rare::kOtherContext) && depth_ < kDeepestRequest) return request(&context);
  if (happens(Rare::kRefusal)) return refused(&context);
  if (happens(Rare::kRecursion)) return callInside(context, name);
  if (happens(Rare::kProductTrace)) {
    const unsigned long ids[] = {1, 0x4003005, 0xb000000, 0x1003001, 0x7f000001};
    const unsigned long id = ids[below(std::size(ids))];
    Event("productTrace").number("n", context.serial).number("id", id);
    trx::KWTrace& trace = *context.info.getProductHAPAPITrace();
    below(2) == 0 ? trace.info(id, 1UL, 2UL, 3UL, 4UL) : trace.error(id, "what a module says");
    return;
  }
  if (isAlone() && happens(Rare::kStop)) return engine().setStopFlag(true);
  if (below(3) == 0) callInside(context, someHAP());
}

/// A HAP inside of the one that runs. Its failure is caught or let through.
void Worker::callInside(Context& context, const std::string& name) {
  const std::uint64_t serial = nextSerial();
  const std::string mode = below(4) == 0 ? "inner" : "";
  Units units = someUnits();
  const bool is_caught = below(3) != 0;
  const bool disabled = below(8) == 0;
  Event("call")
      .number("c", serial)
      .number("in", context.calls.back())
      .text("name", name)
      .text("mode", mode)
      .units(units)
      .number("disabled", disabled ? 1 : 0);
  std::exception_ptr caught;
  const Outcome outcome = outcomeOf(
      [&] {
        engine().getHAPController()->execHAP(&context.info, units, name, mode, nullptr, nullptr,
                                             disabled);
      },
      &caught);
  Event("callEnd").number("c", serial).text("out", outcome.name).number("code", outcome.code);
  if (caught && !is_caught) std::rethrow_exception(caught);
}

int Worker::finish(Context& context) {
  if (happens(Rare::kHang)) hang();
  if (isAlone() && happens(Rare::kKill)) {
    Event("kill");
    raise(SIGKILL);
  }
  if (happens(Rare::kForeign)) {
    if (below(2) == 0) throw std::runtime_error("of a module");
    throw 5;
  }
  const std::size_t draw = below(18);
  if (draw == 0) {
    const unsigned int codes[] = {0x12345, 0x20007, 0x7000a, 0x7000c, 0x70001};
    throw trx::TRXException(codes[below(std::size(codes))]);
  }
  return draw < 5 ? fail(context) : 0;
}

/// Fails with an error of any class, and of any size.
int Worker::fail(Context& context) {
  const auto number = 1 + static_cast<unsigned int>(below(0xfff));
  const std::size_t sizes[] = {0, 4, 31, 32, 33, 64, 100, 124};
  std::vector<unsigned int> words(32, number);
  switch (below(6)) {
    case 0:
      context.info.error.setErrCode(number);
      break;
    case 1:
    case 2:
      context.info.error.setHAPError(0x20000 | number, words.data(),
                                     static_cast<unsigned int>(sizes[below(std::size(sizes))]));
      break;
    case 3:
      context.info.error.setAPIError(words.data(), static_cast<int>(1 + below(128)));
      context.info.error.setErrCode(0x40000 | number);
      break;
    case 4:  // of a class whose codes no trace record has
      context.info.error.setErrCode((below(2) == 0 ? 0x10000U : 0x80000U) | number);
      break;
    default:  // none, or that of a failure before
      break;
  }
  return 1;
}

void Worker::hang() {
  Event("hang");
  process_.hangs = true;
  --process_.running;
  for (;;) pause();
}

}  // namespace kw::trx::truth
