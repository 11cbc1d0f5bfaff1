// SPDX-License-Identifier: Apache-2.0
// What rooms tell of files and texts, held against readers that are not theirs: the loader, the
// engine's own reader of properties, another reader of JSON, and the file that the platform makes.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>

#include "common/characters.h"
#include "common/json.h"
#include "common/processes.h"
#include "configuration/properties_file.h"
#include "doctor/ring_place.h"
#include "kw/platform.h"
#include "kw/trx/testing/temp_dir.h"
#include "modules/module_file.h"

namespace kw::trx::testing {
namespace {

/// The file, with the last `from` in it replaced by `to`, of the same length.
std::string contentOf(const std::string& file, const std::string& from = "",
                      const std::string& to = "") {
  std::ifstream in(file, std::ios::binary);
  std::string content(std::istreambuf_iterator<char>(in), {});
  return content.replace(content.rfind(from), from.size(), to);
}

TEST(RoomsTest, AModuleIsSaidToLoadWhenTheLoaderTakesIt) {
  const std::string plain = contentOf(MODULE_PLAIN);
  std::vector<std::string> contents = {
      plain,
      contentOf(MODULE_TST),
      contentOf(MODULE_DBGTOOL),
      contentOf(MODULE_TORN),
      contentOf(MODULE_PLAIN, "libzqm_trx.so.7", "libzqm_trx.so.6"),
      contentOf(MODULE_PLAIN, "CXXABI_1.3", "CXXABI_7.3")};
  for (const std::size_t at : {0U, 4U, 5U, 16U, 18U}) {  // of its head: kind and machine
    contents.push_back(plain);
    contents.back()[at] = static_cast<char>(contents.back()[at] ^ 0x41);
  }
  for (const std::size_t part : {0U, 1U, 2U, 5U, 9U}) {
    contents.push_back(plain.substr(0, plain.size() * part / 10));
  }
  const TempDir dir;
  std::vector<std::string> files;
  for (std::size_t i = 0; i < contents.size(); ++i) {
    files.push_back(dir.write(std::to_string(i) + "/libzq_hap_plain.so", contents[i]));
  }
  // The loader dies of some that are cut short.
  const auto results = tools::inProcesses(files.size(), files.size(), [&files](std::size_t number) {
    const bool loads = dlopen(files[number].c_str(), RTLD_NOW) != nullptr;
    return tools::Texts{loads ? "loads" : dlerror()};
  });
  for (std::size_t i = 0; i < results.size(); ++i) {
    const std::vector<std::string> told = tools::inspectModule(files[i]).problems;
    EXPECT_EQ(told.empty(), results[i][0] == "loads") << i << ": " << results[i][0];
  }
}

TEST(RoomsTest, TheLineOfAKeyIsTheOneThatGivesItsValue) {
  const char* const pieces[] = {"a",  "b.c",  "\\u0061", "=", ":", " ",    "\t",  "\n", "\r\n",
                                "\n", "\\\n", "\\\\",    "#", "!", "\n  ", "\\ ", "\f"};
  const TempDir dir;
  std::mt19937 random(20);
  for (int round = 0; round < 300; ++round) {
    std::string text;
    for (int i = 0; i < 24; ++i) {
      text += pieces[random() % std::size(pieces)] + (i % 4 == 3 ? std::to_string(i) : "");
    }
    tools::PropertiesFile file;
    file.path = dir.write("a.conf", text);
    ASSERT_EQ(file.read(), "");
    for (const std::string key : {"a", "b.c", "a3", "b.c3", "aa", ""}) {
      const unsigned int line = file.lineOf(key);
      EXPECT_EQ(line != 0, file.values.exist(key)) << key << " in\n" << text;
      if (line == 0) {
        continue;
      }
      // Without what stands before its line, the value is the same.
      std::size_t start = 0;
      for (unsigned int i = 1; i < line; ++i) {
        start = text.find_first_of("\r\n", start);
        start += text.compare(start, 2, "\r\n") == 0 ? 2 : 1;
      }
      kw::util::config::CppProperties rest(false);
      rest.load(dir.write("rest.conf", text.substr(start)));
      EXPECT_EQ(rest.getProperty(key), file.values.getProperty(key)) << key << " in\n" << text;
    }
  }
}

TEST(RoomsTest, AnyBytesAreShownAsTextAndReadAgainFromJson) {
  std::mt19937 random(7);
  const char starts[] = {'a',    '\\',   '"',    '\x01', '\x7f', '\xc2',
                         '\xe0', '\xed', '\xf0', '\xf4', '\xff'};
  for (int round = 0; round < 2000; ++round) {
    std::string bytes;
    while (bytes.size() < 6) {
      bytes += starts[random() % std::size(starts)];
      bytes += static_cast<char>(random() % 256);
    }
    const std::string shown = tools::visible(bytes);
    EXPECT_EQ(std::count_if(shown.begin(), shown.end(),
                            [](unsigned char c) { return c < ' ' || c == 0x7f; }),
              0);
    tools::JsonWriter json(-1);
    const std::string written = json.beginArray().text(bytes).text(shown).endArray().taken();
    const auto read = nlohmann::json::parse(written, nullptr, false);
    ASSERT_FALSE(read.is_discarded()) << written;
    EXPECT_EQ(read[1], shown) << written;
  }
}

TEST(RoomsTest, ARingTakesTheRoomThatIsTold) {
  const TempDir dir;
  const std::string file = dir.path() + "/ring";
  for (const std::size_t records : {1U, 100U, 128U, 129U, 5000U}) {
    ASSERT_EQ(kw::platform::openTraceRing(file, records), 0);
    EXPECT_EQ(tools::ringFileBytes(records), std::filesystem::file_size(file)) << records;
  }
  kw::platform::closeTraceRing();
}

}  // namespace
}  // namespace kw::trx::testing
