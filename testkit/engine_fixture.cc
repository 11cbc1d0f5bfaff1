// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/testing/engine_fixture.h"

#include <cxxabi.h>

#include <sstream>

namespace kw::trx::testing {

// There is no object behind the exit of a thread, which a sanitizer would take for a null pointer.
__attribute__((no_sanitize("null"))) std::string outcomeOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const trx::TRXException& exception) {
    std::ostringstream out;
    out << "TRX " << std::hex << exception.getCode();
    if (exception.getDetail() != 0) {
      out << '/' << std::dec << exception.getDetail();
    }
    return out.str();
  } catch (abi::__forced_unwind&) {
    throw;  // the thread ends
  } catch (...) {
    return "other";
  }
  return "ok";
}

std::string errorOf(trx::TRXInfo& info) {
  std::ostringstream out;
  out << std::hex << info.error.getErrHAPName() << ' ' << info.error.getErrCode();
  const unsigned int size = info.error.getHAPErrorDetailSize();
  if (size != 0) {
    std::vector<unsigned int> words((size + sizeof(unsigned int) - 1) / sizeof(unsigned int));
    info.error.getHAPErrorDetail(words.data(), size);
    const char* separator = " [";
    for (const unsigned int word : words) {
      out << separator << word;
      separator = " ";
    }
    out << ']';
  }
  std::vector<kw::sysobj::Component*> concerned;
  info.error.getErrUnitList(concerned);
  const char* label = " units ";
  for (const kw::sysobj::Component* unit : concerned) {
    out << label << unit->getType() << '.' << unit->getNo();
    label = " ";
  }
  if (!info.error.errTableName.empty()) {
    out << " row " << info.error.errTableName << ':' << info.error.errCmdNumber;
  }
  return out.str();
}

EngineFixture::EngineFixture() : engine(trx::TRX::getInstance()) {
  kw::platform::setSystemRoot(dir.path());
  dir.write("kw/etc/kwpath.conf", "path.trx.conf=" + dir.path() + "/trx.conf\n");
}

EngineFixture::~EngineFixture() { kw::platform::setSystemRoot(""); }

void EngineFixture::configure(const std::vector<std::string>& modules,
                              const std::vector<std::string>& tables,
                              const std::string& lines) const {
  std::ostringstream out;
  const auto list = [&out](const std::string& what, const std::vector<std::string>& files) {
    out << what << ".number=" << files.size() << '\n';
    for (std::size_t i = 0; i < files.size(); ++i) {
      out << what << ".file." << i << '=' << files[i] << '\n';
    }
  };
  list("hapmodule", modules);
  list("haptable", tables);
  configureRaw(out.str() + lines);
}

void EngineFixture::configureRaw(const std::string& content) const {
  dir.write("trx.conf", content);
}

void EngineFixture::start() const {
  engine->load(false);
  engine->setHAPAPI(new QuietAPI);
}

void EngineFixture::reset() const {
  configure({}, {});
  engine->load(false);
  engine->setHAPAPI(nullptr);
}

std::string EngineFixture::execHAP(trx::TRXInfo& info, const std::string& name,
                                   const std::string& mode, const unsigned int* para,
                                   unsigned int* out) {
  return outcomeOf([&] { engine->execHAP(&info, units, name, mode, para, out); });
}

std::string EngineFixture::execTable(trx::TRXInfo& info, const std::string& name) {
  return outcomeOf([&] {
    info.setTableUnitList(units);
    info.setTableName(name);
    while (true) {
      try {
        engine->execTable(&info);
        return;
      } catch (const trx::TRXException& exception) {
        if (exception.getCode() != trx::kCodeWaitHandOver) {
          throw;
        }
      }
    }
  });
}

}  // namespace kw::trx::testing
