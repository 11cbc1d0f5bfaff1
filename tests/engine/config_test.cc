// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/trx_config.h"

#include <sstream>

#include "kw/trx/testing/engine_fixture.h"

namespace kw::trx::testing {
namespace {

std::string joined(const std::vector<std::string>& files) {
  std::string text;
  for (const std::string& file : files) {
    text += '[' + file + ']';
  }
  return text;
}

/// All settings in one line, in the order of their fields.
std::string settings() {
  const trx::TRXConfig& config = trx::TRXConfig::getInstance();
  std::ostringstream out;
  out << config.isHAPStopOnLoadError() << ' ' << joined(config.getHAPModuleFiles()) << ' '
      << config.getHAPNestLimit() << ' ' << config.isTableStopOnLoadError() << ' '
      << joined(config.getTableFiles()) << ' ' << config.getTableNestLimit() << ' '
      << config.isWaitInEngine() << ' ' << config.isExclusionControl();
  return out.str();
}

class ConfigTest : public EngineFixture {};

TEST_F(ConfigTest, ReadsEverySettingOfAFile) {
  struct Case {
    const char* content;
    const char* outcome;
    const char* settings;
  };
  const Case cases[] = {
      {"hapmodule.number=0\nhaptable.number=0\n", "ok", "1  10 1  10 1 0"},
      {"hapmodule.number=2\nhapmodule.file.0=a\nhapmodule.file.1=\nhapmodule.file.2=never\n"
       "haptable.number=1\nhaptable.file.0=t.csv \nhapmodule.nest.exec.limit=0\n"
       "haptable.nest.exec.limit=-1\nhapmodule.loading.err.mode=continue\n"
       "haptable.loading.err.mode=continue\nhaptable.tblcmd.wait.handler=requester\n"
       "hapmodule.exec.exclusion.control=on\n",
       "ok", "0 [a][] 0 0 [t.csv ] 4294967295 0 1"},
      {"hapmodule.number=-3\nhaptable.number=0\nhapmodule.exec.exclusion.control=off\n", "ok",
       "1  10 1  10 1 0"},
      // A blank after the word, another letter case and an empty value are any other text.
      {"hapmodule.number=0\nhaptable.number=0\nhapmodule.loading.err.mode=continue \n"
       "haptable.loading.err.mode=Continue\nhaptable.tblcmd.wait.handler=Requester\n"
       "hapmodule.exec.exclusion.control=\n",
       "ok", "1  10 1  10 1 1"},
      {"hapmodule.number=3\nhapmodule.file.0=a\nhapmodule.file.2=c\nhaptable.number=0\n"
       "hapmodule.loading.err.mode=continue\n",
       "ok", "0 [a][c] 10 1  10 1 0"},
  };
  for (const Case& c : cases) {
    configureRaw(c.content);
    EXPECT_EQ(outcomeOf([] { trx::TRXConfig::getInstance().load(); }), c.outcome) << c.content;
    EXPECT_EQ(settings(), c.settings) << c.content;
  }
}

TEST_F(ConfigTest, TracesAbsentKeysInTheOrderOfReading) {
  configureRaw(
      "hapmodule.number=2\nhapmodule.file.0=a\nhaptable.number=0\n"
      "hapmodule.loading.err.mode=continue\n");
  TraceCapture capture;
  trx::TRXConfig::getInstance().load();
  EXPECT_EQ(capture.trail(),
            "d 5003001 \"hapmodule.file.1\"\n"
            "d 5003002 (0 0 0 0)\n"
            "d 5002000 \"hapmodule.exec.exclusion.control\"\n"
            "d 5002000 \"haptable.loading.err.mode\"\n"
            "d 5002000 \"haptable.tblcmd.wait.handler\"\n");
}

TEST_F(ConfigTest, FailsWithOneErrorTraceAndTheEngineStaysUsable) {
  const std::string conf = dir.path() + "/trx.conf";
  const std::string path_file = "kw/etc/kwpath.conf";
  const std::string names_conf = "path.trx.conf=" + conf + "\n";
  struct Case {
    std::string path_content;
    std::string conf_content;
    std::string trail;
  };
  const Case cases[] = {
      {"path.trx.conf=\n", "", "E 5000001 (id 0 0 0)\n"},
      {"other=1\n", "", "E 5000001 (id 0 0 0)\n"},
      {"path.trx.conf=" + dir.path() + "/none\n", "", "E 5001000 \"" + dir.path() + "/none\"\n"},
      {"path.trx.conf=" + dir.path() + "\n", "", "E 5001000 \"" + dir.path() + "\"\n"},
      {names_conf, "haptable.number=0\n", "E 5003000 \"hapmodule.number\"\n"},
      {names_conf, "hapmodule.number=0\n", "E 5003000 \"haptable.number\"\n"},
      {names_conf, "hapmodule.number=2\nhapmodule.file.1=b\nhaptable.number=0\n",
       "E 5003003 \"hapmodule.file.0\"\n"},
  };
  for (const Case& c : cases) {
    dir.write(path_file, c.path_content);
    configureRaw(c.conf_content);
    TraceCapture capture(kw::platform::kTraceError);
    EXPECT_EQ(outcomeOf([this] { engine->load(false); }), "TRX 70004") << c.trail;
    EXPECT_EQ(capture.trail(), c.trail);
  }
  kw::platform::setSystemRoot(dir.path() + "/nowhere");
  TraceCapture capture(kw::platform::kTraceError);
  EXPECT_EQ(outcomeOf([this] { engine->load(false); }), "TRX 70004");
  EXPECT_EQ(capture.trail(), "E 5000000 (id 0 0 0)\n");

  kw::platform::setSystemRoot(dir.path());
  dir.write(path_file, names_conf);
  configure({}, {});
  EXPECT_EQ(outcomeOf([this] { engine->load(false); }), "ok");
}

}  // namespace
}  // namespace kw::trx::testing
