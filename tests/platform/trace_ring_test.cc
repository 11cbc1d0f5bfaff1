// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "kw/platform.h"
#include "kw/trace.h"
#include "kw/trx/testing/temp_dir.h"
#include "trace_file.h"

using kw::platform::closeTraceRing;
using kw::platform::openTraceRing;
using kw::platform::TraceRecord;
using kw::platform::TraceRingReader;
using kw::trx::testing::TempDir;

namespace {

namespace file = kw::platform::trace_file;

class TraceRingTest : public testing::Test {
 protected:
  void open(std::size_t records) {
    ASSERT_EQ(openTraceRing(path_, records), 0) << strerror(errno);
    ASSERT_EQ(reader_.open(path_), 0) << strerror(errno);
  }
  ~TraceRingTest() override { closeTraceRing(); }

  /// The ids of the records that there are now, each with a blank, then the count of lost ones.
  std::string readIds() {
    std::string ids;
    for (TraceRecord record; reader_.next(record);) ids += std::to_string(record.id) + " ";
    return ids + "lost " + std::to_string(reader_.lost());
  }

  /// Gives a lane of the ring, which must have narrow ones alone, to another owner.
  void patchOwner(std::uint32_t lane, pid_t owner) {
    patch(file::kLanesOffset + lane * sizeof(file::LaneCopy), static_cast<std::uint64_t>(owner));
  }

  /// Changes a word of the ring file behind its writers.
  void patch(std::size_t offset, std::uint64_t word) {
    const int fd = ::open(path_.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(pwrite(fd, &word, sizeof(word), static_cast<off_t>(offset)),
              static_cast<ssize_t>(sizeof(word)));
    close(fd);
  }

  const TempDir dir_;
  const std::string path_ = dir_.path() + "/ring";
  TraceRingReader reader_;
};

int write(unsigned long id) { return kw_trace_write(101, 0x8002, 7, id, &id, sizeof(id)); }

TEST_F(TraceRingTest, KeepsEveryFieldAndTheFirstOfTheData) {
  open(4);
  std::string data(200, 'x');
  data.replace(0, 3, "abc");
  EXPECT_EQ(kw_trace_write(0xFFFFFFFFUL, 0x801, 0xFFFF, 0x1001005, data.data(), 200), 0);
  EXPECT_EQ(kw_trace_write(1, 0x1, 0, 2, nullptr, -1), 0);
  TraceRecord first;
  TraceRecord second;
  ASSERT_TRUE(reader_.next(first) && reader_.next(second));
  EXPECT_EQ(std::tie(first.region, first.level, first.trace_class, first.id, first.length),
            std::make_tuple(0xFFFFFFFFU, 0x801U, 0xFFFFU, 0x1001005U, 200U));
  EXPECT_EQ(std::string(first.data.begin(), first.data.end()), data.substr(0, 80));
  EXPECT_EQ(first.process_id, static_cast<std::uint32_t>(getpid()));
  EXPECT_EQ(first.thread_id, first.process_id);
  EXPECT_GT(first.time_ns, 1600000000000000000ULL);
  EXPECT_EQ(second.sequence, 1U);
  EXPECT_EQ(second.length + second.data.size(), 0U);
}

TEST_F(TraceRingTest, NewestRecordsReplaceTheOldestAndAreCounted) {
  open(5);  // eight slots
  EXPECT_EQ(readIds(), "lost 0");
  for (unsigned long id = 0; id < 3; ++id) write(id);
  EXPECT_EQ(readIds(), "0 1 2 lost 0");
  for (unsigned long id = 3; id < 20; ++id) write(id);
  EXPECT_EQ(readIds(), "12 13 14 15 16 17 18 19 lost 9");
  closeTraceRing();
  write(20);
  EXPECT_EQ(readIds(), "lost 9");
}

TEST_F(TraceRingTest, RingThatCannotBeMadeLeavesTheOneInUse) {
  open(8);
  EXPECT_EQ(openTraceRing(dir_.path() + "/none/ring", 8), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(openTraceRing(dir_.path(), 8), -1);
  EXPECT_EQ(openTraceRing(dir_.path() + "/other", ~std::size_t{0}), -1);
  EXPECT_EQ(errno, EINVAL);
  rlimit most{};
  getrlimit(RLIMIT_FSIZE, &most);
  const rlimit little{4096, most.rlim_max};
  setrlimit(RLIMIT_FSIZE, &little);
  EXPECT_EQ(openTraceRing(dir_.path() + "/other", 1024), -1);
  EXPECT_EQ(errno, EFBIG);
  setrlimit(RLIMIT_FSIZE, &most);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_.path()), {}), 1);
  write(1);
  EXPECT_EQ(readIds(), "1 lost 0");
  ASSERT_EQ(openTraceRing(path_, 8), 0);
  write(2);
  EXPECT_EQ(readIds(), "lost 0");
  ASSERT_EQ(reader_.open(path_), 0);
  EXPECT_EQ(readIds(), "2 lost 0");
}

std::atomic<unsigned int> signals_handled{0};
constexpr std::uint32_t kOfHandler = 0xFFFF0000;

/// Writes a record whose data repeat its id, so that a mixture of two records shows.
void writeFilled(std::uint32_t id) {
  std::array<std::uint32_t, 20> data;
  data.fill(id);
  kw_trace_write(101, 0x8002, 7, id, data.data(), sizeof(data));
}

struct Crowd {
  const char* name;
  std::size_t slots;
  unsigned int threads;
  unsigned int records;
};

class CrowdTest : public TraceRingTest, public testing::WithParamInterface<Crowd> {};

// Signals interrupt the writers, and their handler writes a record itself.
TEST_P(CrowdTest, IsFollowedWithoutAMixedOrUncountedRecord) {
  const Crowd crowd = GetParam();
  open(crowd.slots);
  signals_handled = 0;
  struct sigaction action {};
  action.sa_handler = [](int) { writeFilled(kOfHandler | (++signals_handled & 0xFFFF)); };
  sigaction(SIGUSR1, &action, nullptr);
  std::atomic<unsigned int> running{crowd.threads};
  std::vector<std::thread> writers;
  for (unsigned int thread = 0; thread < crowd.threads; ++thread) {
    writers.emplace_back([&running, &crowd, thread] {
      for (unsigned int i = 0; i < crowd.records; ++i) writeFilled(thread << 16 | i);
      --running;
      while (running != 0) std::this_thread::yield();
    });
  }
  std::uint64_t found = 0;
  std::uint64_t mixed = 0;
  std::map<std::uint32_t, std::uint32_t> last_of_thread;
  for (bool last_round = false;; last_round = running == 0) {
    for (TraceRecord record; reader_.next(record); ++found) {
      std::array<std::uint32_t, 20> data{};
      std::memcpy(data.data(), record.data.data(), std::min(sizeof(data), record.data.size()));
      for (const std::uint32_t word : data) mixed += word == record.id ? 0U : 1U;
      if (record.id >= kOfHandler) continue;
      const std::uint32_t number = record.id + 1;
      EXPECT_LT(std::exchange(last_of_thread[record.thread_id], number), number);
    }
    if (last_round) break;
    for (std::thread& writer : writers) pthread_kill(writer.native_handle(), SIGUSR1);
  }
  for (std::thread& writer : writers) writer.join();
  for (TraceRecord record; reader_.next(record);) ++found;  // of signals handled last
  EXPECT_EQ(mixed, 0U);
  EXPECT_GE(found, 1U);
  EXPECT_EQ(found + reader_.lost(), crowd.threads * crowd.records + signals_handled);
}

INSTANTIATE_TEST_SUITE_P(Ring, CrowdTest,
                         testing::Values(Crowd{"OfNarrowLanes", 64, 4, 20000},
                                         Crowd{"OfWideLanes", 2048, 4, 20000},
                                         Crowd{"WithMoreThreadsThanLanes", 512, 280, 200}),
                         [](const auto& crowd) { return std::string(crowd.param.name); });

/// Where data lie whose first copy raises SIGSEGV: the writing of their record is interrupted.
void* interrupting_page = nullptr;
std::size_t page_bytes = 0;

class InterruptedTest : public TraceRingTest {
 protected:
  InterruptedTest() {
    page_bytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    interrupting_page = mmap(nullptr, page_bytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  }
  ~InterruptedTest() override {
    sigaction(SIGSEGV, &former_, nullptr);
    munmap(interrupting_page, page_bytes);
  }

  void interruptBy(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigaction(SIGSEGV, &action, &former_);
  }

  static void writeInterrupted(unsigned long id) {
    mprotect(interrupting_page, page_bytes, PROT_NONE);
    kw_trace_write(101, 0x8002, 7, id, interrupting_page, 16);
  }

  static void writeQuietly(unsigned long id) { write(id); }

  static void goOn() { mprotect(interrupting_page, page_bytes, PROT_READ); }

 private:
  struct sigaction former_ {};
};

TEST_F(InterruptedTest, RecordsOfTheHandlerStandBehindTheOnesInterruptedAndCostNoOthers) {
  open(512);  // 128 lanes of 4 records
  interruptBy([](int) {
    goOn();
    write(1000);
  });
  std::string expected;
  for (unsigned long id = 0; id < 512; ++id) {
    const bool interrupted = id % 3 == 1;
    (interrupted ? writeInterrupted : writeQuietly)(id);
    expected += std::to_string(id) + (interrupted ? " 1000 " : " ");
  }
  EXPECT_EQ(readIds(), expected + "lost 0");
}

TEST_F(TraceRingTest, RecordsOfThreadsComeInTheirOrderAndTheDeadMakeRoom) {
  open(512);  // 128 lanes of 4 records that a thread has for itself
  for (unsigned long id = 0; id < 540; ++id) std::thread(write, id).join();
  std::string newest;
  for (unsigned long id = 0; id < 540; ++id) {
    newest += id >= 512 || id % 128 >= 28 ? std::to_string(id) + " " : "";
  }
  EXPECT_EQ(readIds(), newest + "lost 112");
}

TEST_F(TraceRingTest, RecordsOfAKilledChildStandBesideItsParents) {
  open(256);
  write(1000);
  const pid_t child = fork();
  if (child == 0) {
    for (unsigned long id = 0; id < 100; ++id) write(id);
    raise(SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  write(1001);
  std::map<std::uint32_t, int> records_of;
  for (TraceRecord record; reader_.next(record);) {
    EXPECT_EQ(record.thread_id, record.process_id);
    ++records_of[record.process_id];
  }
  EXPECT_EQ(records_of[static_cast<std::uint32_t>(child)], 100);
  EXPECT_EQ(records_of[static_cast<std::uint32_t>(getpid())], 2);
  EXPECT_EQ(reader_.lost(), 0U);
}

TEST_F(TraceRingTest, LaneOfADeadWriterIsUsedAgainAndThatOfALivingOneIsNot) {
  const pid_t dead = fork();
  if (dead == 0) _exit(0);
  ASSERT_EQ(waitpid(dead, nullptr, 0), dead);
  open(4);
  for (unsigned long id = 0; id < 4; ++id) write(id);
  const std::size_t slots = file::kLanesOffset + 4 * sizeof(file::LaneCopy);
  patchOwner(1, dead);
  patch(slots + sizeof(file::SlotCopy), file::busyMark(0));
  patchOwner(2, getppid());
  EXPECT_EQ(readIds(), "0 2 3 lost 1");
  for (unsigned long id = 4; id < 7; ++id) EXPECT_EQ(write(id), 0);
  EXPECT_EQ(readIds(), "4 5 6 lost 1");
  for (std::uint32_t lane = 0; lane < 4; ++lane) patchOwner(lane, getppid());
  EXPECT_EQ(write(7), -1);
  EXPECT_EQ(readIds(), "lost 2");
}

TEST_F(TraceRingTest, ChangedTimeOrWriterIsDoubtfulAndTheOrderStays) {
  constexpr file::Shape kShape{128, 4, 256};
  std::string expected;
  open(300);
  for (unsigned long id = 0; id < 300; ++id) {
    write(id);
    expected += std::to_string(id) + (id == 1 || id == 2 ? "! " : " ");
  }
  const auto bodyOf = [&](std::uint64_t slot) {  // the records fill the lanes one after the other
    return static_cast<std::size_t>(file::slotsOffset(kShape) + slot * sizeof(file::SlotCopy) +
                                    offsetof(file::SlotCopy, body));
  };
  patch(bodyOf(1) + offsetof(file::Body, time_ns), std::uint64_t{1} << 63);
  patch(bodyOf(2) + offsetof(file::Body, process_id), 0x100000001);
  std::string ids;
  for (TraceRecord record; reader_.next(record);) {
    ids += std::to_string(record.id) + (record.doubtful ? "! " : " ");
  }
  EXPECT_EQ(ids, expected);
}

TEST_F(TraceRingTest, DamagedFileIsRefusedOrEnds) {
  EXPECT_EQ(reader_.open(dir_.path() + "/none"), -1);
  EXPECT_EQ(errno, ENOENT);
  open(16);
  write(1);
  write(2);
  closeTraceRing();
  std::ifstream in(path_, std::ios::binary);
  const std::string whole((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  auto changed = [&whole](std::size_t at) {
    std::string text = whole;
    text[at] = static_cast<char>(text[at] ^ 0x41);
    return text;
  };
  std::vector<std::string> damaged = {"", "KWTRING", std::string(4096, 'x'), whole + "x",
                                      whole.substr(0, 127)};
  for (const std::size_t at : {0U, 8U, 12U, 16U, 20U, 24U, 27U}) damaged.push_back(changed(at));
  for (const std::string& text : damaged) {
    EXPECT_EQ(TraceRingReader().open(dir_.write("damaged", text)), -1) << text.size();
    EXPECT_EQ(errno, EINVAL);
  }
  EXPECT_EQ(TraceRingReader().open(dir_.path()), -1);
  EXPECT_EQ(errno, EINVAL);

  // A count of records that is nonsense hides its lane alone.
  const std::size_t begun_of_the_first = file::kLanesOffset + offsetof(file::LaneCopy, begun);
  ASSERT_EQ(reader_.open(dir_.write("count", changed(begun_of_the_first + 7))), 0);
  EXPECT_EQ(readIds(), "2 lost 0");
}

TEST_F(TraceRingTest, FileCutShortKeepsWhatIsLeftOfIt) {
  open(8);
  for (unsigned long id = 0; id < 8; ++id) write(id);
  closeTraceRing();
  const std::size_t slots = file::kLanesOffset + 8 * sizeof(file::LaneCopy);
  const std::pair<std::size_t, const char*> cuts[] = {
      {slots + 3 * sizeof(file::SlotCopy) + 1, "0 1 2 lost 5"},
      {slots - sizeof(file::LaneCopy), "lost 7"},
      {file::kLanesOffset, "lost 0"},
  };
  for (const auto& [bytes, left] : cuts) {
    std::filesystem::resize_file(path_, bytes);
    ASSERT_EQ(reader_.open(path_), 0);
    EXPECT_EQ(readIds(), left);
  }
}

}  // namespace
