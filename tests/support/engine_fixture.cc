// SPDX-License-Identifier: Apache-2.0
#include "support/engine_fixture.h"

#include <sstream>

namespace kw::trx::testing {

std::string outcomeOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const trx::TRXException& exception) {
    std::ostringstream out;
    out << "TRX " << std::hex << exception.getCode();
    if (exception.getDetail() != 0) {
      out << '/' << std::dec << exception.getDetail();
    }
    return out.str();
  } catch (...) {
    return "other";
  }
  return "ok";
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

std::string EngineFixture::execHAP(trx::TRXInfo& info, const std::string& name,
                                   const std::string& mode, const unsigned int* para,
                                   unsigned int* out) {
  return outcomeOf([&] { engine->execHAP(&info, units, name, mode, para, out); });
}

}  // namespace kw::trx::testing
