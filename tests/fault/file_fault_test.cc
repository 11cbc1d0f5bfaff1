// SPDX-License-Identifier: Apache-2.0
// Files of the wrong kind, files without end, and files that an update left cut short.
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "kw/trx/testing/engine_fixture.h"

namespace kw::trx::testing {
namespace {

namespace fs = std::filesystem;

constexpr unsigned int kTimeOutSeconds = 60;
/// Between two pieces of a reason in a trail.
constexpr char kNextPiece[] = "\"\nD 2000001 \"";
constexpr char kTable[] = "FORMAT,0\nVERSION,1\n,1,START\n,2,END\n";

class FileFaultTest : public EngineFixture {
 protected:
  FileFaultTest() { alarm(kTimeOutSeconds); }  // in place of a hang

  std::string load() {
    return outcomeOf([this] { start(); });
  }
};

/// What can stand at a path in place of a file.
const std::pair<const char*, void (*)(const fs::path&)> kIntruders[] = {
    {"pipe", [](const fs::path& path) { ASSERT_EQ(mkfifo(path.c_str(), 0600), 0); }},
    {"device", [](const fs::path& path) { fs::create_symlink("/dev/zero", path); }},
    {"directory", [](const fs::path& path) { fs::create_directory(path); }},
    {"file of a gigabyte",
     [](const fs::path& path) {
       std::ofstream(path).close();
       ASSERT_EQ(truncate(path.c_str(), 1 << 30), 0);
     }},
};

TEST_F(FileFaultTest, NeitherPipesNorDevicesNorEndlessFilesHoldUpALoad) {
  const fs::path root = dir.path();
  const fs::path module = root / "libzq_hap_tst.so";
  const fs::path table = dir.write("t.csv", kTable);
  fs::copy_file(MODULE_TST, module);
  configure({module}, {table});
  ASSERT_EQ(load(), "ok");
  const std::pair<fs::path, const char*> places[] = {{root / "kw/etc/kwpath.conf", "TRX 70004"},
                                                     {root / "trx.conf", "TRX 70004"},
                                                     {module, "TRX 70005"},
                                                     {table, "TRX 70006"}};
  for (const auto& [place, outcome] : places) {
    for (const auto& [name, put] : kIntruders) {
      SCOPED_TRACE(std::string(name) + " at " + place.filename().string());
      const fs::path saved = root / "saved";
      fs::rename(place, saved);
      put(place);
      EXPECT_EQ(load(), outcome);
      fs::remove(place);
      fs::rename(saved, place);
      EXPECT_EQ(load(), "ok");
    }
  }
}

TEST_F(FileFaultTest, ModuleCutShortAnywhereIsOneThatCannotBeOpened) {
  std::ifstream in(MODULE_HURT, std::ios::binary);
  const std::string whole{std::istreambuf_iterator<char>(in), {}};
  const fs::path module = fs::path(dir.path()) / "libzq_hap_hurt.so";
  configure({module, MODULE_TST}, {}, "hapmodule.loading.err.mode=continue\n");
  constexpr std::size_t kCuts = 40;
  std::size_t told = 0;
  for (std::size_t cut = 0; cut <= kCuts; ++cut) {
    std::ofstream(module, std::ios::binary).write(whole.data(), whole.size() * cut / kCuts);
    TraceCapture capture(kw::platform::kTraceDebug);
    EXPECT_EQ(load(), "ok");
    std::string trail = capture.trail();
    for (std::size_t at; (at = trail.find(kNextPiece)) != std::string::npos;) {
      trail.erase(at, std::strlen(kNextPiece));
    }
    told += trail.find("hurt.so: is cut short: copy it again\"") != std::string::npos ? 1 : 0;
    trx::TRXInfo info;
    EXPECT_EQ(execHAP(info, "TST_Ok"), "ok");
    fs::remove(module);
  }
  EXPECT_GE(told, kCuts / 10);
  EXPECT_LT(told, kCuts);
  // What is no library of this architecture at all is the loader's to refuse.
  constexpr std::size_t kClass = 4, kPartsOffset = sizeof(void*) == 8 ? 38 : 31;
  constexpr std::size_t kPartBytes = sizeof(void*) == 8 ? 54 : 42;
  for (const std::size_t place : {kClass, kPartsOffset, kPartBytes}) {
    std::string damaged = whole;
    damaged[place] = static_cast<char>(place == kClass ? 3 - damaged[place] : 0x7f);
    std::ofstream(module, std::ios::binary) << damaged;
    EXPECT_EQ(load(), "ok");
    trx::TRXInfo info;
    EXPECT_EQ(execHAP(info, "HURT_Rest"), "TRX 7000a") << "byte " << place;
    fs::remove(module);
  }
}

/// A library with one part more, of zeros alone: it says that they begin behind the file's end.
std::string withZerosBehindItsEnd(std::string library) {
  auto* const header = reinterpret_cast<ElfW(Ehdr)*>(library.data());
  auto* const parts = reinterpret_cast<ElfW(Phdr)*>(library.data() + header->e_phoff);
  const auto page = static_cast<unsigned long>(getpagesize());
  unsigned long end = 0;
  for (int i = 0; i < header->e_phnum; ++i) {
    if (parts[i].p_type == PT_LOAD) end = parts[i].p_vaddr + parts[i].p_memsz;
    if (parts[i].p_type == PT_GNU_STACK) {
      parts[i].p_type = PT_LOAD;
      parts[i].p_vaddr = (end + 16 * page) / (16 * page) * (16 * page);
      parts[i].p_offset = 256 * page;
      parts[i].p_filesz = 0;
      parts[i].p_memsz = page;
      parts[i].p_align = page;
    }
  }
  return library;
}

TEST_F(FileFaultTest, PartWithoutBytesOfTheFileIsNotMissing) {
  std::ifstream in(MODULE_HURT, std::ios::binary);
  const std::string whole{std::istreambuf_iterator<char>(in), {}};
  const std::string module = dir.write("libzq_hap_hurt.so", withZerosBehindItsEnd(whole));
  configure({module}, {});
  EXPECT_EQ(load(), "ok");
  trx::TRXInfo info;
  EXPECT_EQ(execHAP(info, "HURT_Rest"), "ok");
}

/// Where the bytes end that the parts of a library have of its file.
std::size_t endOfParts(std::string library) {
  const auto* const header = reinterpret_cast<ElfW(Ehdr)*>(library.data());
  const auto* const parts = reinterpret_cast<ElfW(Phdr)*>(library.data() + header->e_phoff);
  std::size_t end = 0;
  for (int i = 0; i < header->e_phnum; ++i) {
    const std::size_t end_of_part = parts[i].p_offset + parts[i].p_filesz;
    end = parts[i].p_type == PT_LOAD ? std::max(end, end_of_part) : end;
  }
  return end;
}

TEST_F(FileFaultTest, OnlyAModuleOfWhichAPageIsMissingIsCutShort) {
  std::ifstream in(MODULE_HURT, std::ios::binary);
  const std::string whole{std::istreambuf_iterator<char>(in), {}};
  const std::size_t end = endOfParts(whole);
  const auto page = static_cast<std::size_t>(getpagesize());
  ASSERT_NE(end % page, 0U) << "the last page is not full";
  const std::pair<std::uintmax_t, bool> sizes[] = {
      {std::uintmax_t{300} << 20, true}, {end - 1, true}, {end / page * page, false}};
  for (const auto& [size, loads] : sizes) {
    const std::string module = dir.write("libzq_hap_hurt.so", whole);
    fs::resize_file(module, size);
    configure({module}, {});
    EXPECT_EQ(load(), loads ? "ok" : "TRX 70005") << size;
    trx::TRXInfo info;
    EXPECT_EQ(execHAP(info, "HURT_Rest"), loads ? "ok" : "TRX 70007") << size;
    configure({}, {});
    EXPECT_EQ(load(), "ok");
    fs::remove(module);
  }
}

TEST_F(FileFaultTest, RingTakesThePlaceOfNoOtherKindOfFile) {
  for (const auto& [name, put] : kIntruders) {
    const fs::path place = fs::path(dir.path()) / "ring";
    put(place);
    const bool is_regular = fs::is_regular_file(place);
    EXPECT_EQ(kw::platform::openTraceRing(place, 16) == 0, is_regular) << name;
    EXPECT_TRUE(is_regular || errno == (fs::is_directory(place) ? EISDIR : EINVAL)) << name;
    kw::platform::closeTraceRing();
    EXPECT_EQ(fs::is_regular_file(place), is_regular) << name;
    fs::remove(place);
  }
}

}  // namespace
}  // namespace kw::trx::testing
