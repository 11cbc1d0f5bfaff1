// SPDX-License-Identifier: Apache-2.0
#include "kw/ring_reader.h"

#include <gtest/gtest.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "kw/platform.h"
#include "kw/trace.h"
#include "kw/trx/testing/temp_dir.h"

namespace {

int reads_until_failure = 0;  // the read that fails; 0: none

}  // namespace

// The one that the reader of rings calls in this program.
extern "C" ssize_t pread64(int fd, void* to, std::size_t bytes, off64_t offset) {
  if (reads_until_failure != 0 && --reads_until_failure == 0) {
    errno = EIO;
    return -1;
  }
  const iovec part{to, bytes};
  return preadv64(fd, &part, 1, offset);
}

namespace {

using kw::platform::closeTraceRing;
using kw::platform::openTraceRing;
using kw::platform::RingReader;
using kw::platform::RingWriters;
using kw::platform::TraceRecord;

class RingReaderTest : public testing::Test {
 protected:
  ~RingReaderTest() override { closeTraceRing(); }

  /// Who writes the ring that the path leads to now: "own" for this process, "-" for none.
  std::string writersNow() const {
    RingReader reader;
    return reader.open(path_) == 0 ? textOf(reader.writers()) : "no ring";
  }

  std::string textOf(const RingWriters& writers) const {
    const auto name = [this](std::uint32_t process) {
      const auto id = static_cast<pid_t>(process);
      return id == 0 ? "-" : id == getpid() ? "own" : id == other_ ? "other" : "wrong";
    };
    return std::string("made by ") + name(writers.maker) +
           (writers.maker_is_running ? ", running" : "") + ", displaced " +
           name(writers.displaced) + (writers.is_at_path ? "" : ", gone");
  }

  /// Lets another process make the ring anew, which waits for `endOther`.
  void makeByOther() {
    ASSERT_EQ(pipe(wait_for_end_), 0);
    ASSERT_EQ(pipe(made_), 0);
    other_ = fork();
    if (other_ == 0) {
      close(wait_for_end_[1]);
      char byte = openTraceRing(path_, 8) == 0 ? '+' : '-';
      const bool told = write(made_[1], &byte, 1) == 1 && read(wait_for_end_[0], &byte, 1) == 0;
      _exit(told ? 0 : 1);
    }
    close(wait_for_end_[0]);
    char byte = 0;
    ASSERT_EQ(read(made_[0], &byte, 1), 1);
    ASSERT_EQ(byte, '+');
  }

  void endOther() {
    close(wait_for_end_[1]);
    int status = 1;
    ASSERT_EQ(waitpid(other_, &status, 0), other_);
    EXPECT_EQ(status, 0);
    close(made_[0]);
    close(made_[1]);
  }

  const kw::trx::testing::TempDir dir_;
  const std::string path_ = dir_.path() + "/ring";
  pid_t other_ = -1;
  int wait_for_end_[2] = {-1, -1}, made_[2] = {-1, -1};
};

TEST_F(RingReaderTest, ReadThatFailsIsAnErrorAndLosesNothing) {
  ASSERT_EQ(openTraceRing(path_, 2048), 0);
  for (unsigned long id = 1; id <= 300; ++id) kw_trace_write(1, 1, 1, id, &id, sizeof(id));
  closeTraceRing();
  int nth = 0;
  do {
    reads_until_failure = ++nth;
    RingReader reader;
    if (reader.open(path_) != 0) {
      EXPECT_EQ(errno, EIO);
      continue;
    }
    unsigned long last = 0;
    for (TraceRecord record; reader.next(record);) EXPECT_EQ(record.id, ++last);
    EXPECT_EQ(reader.lost(), 0U);
    EXPECT_EQ(reader.error(), reads_until_failure == 0 ? EIO : 0);
    EXPECT_TRUE(reads_until_failure == 0 || last == 300) << last;
  } while (reads_until_failure == 0);
  EXPECT_GT(nth, 19 * 3);  // 300 records are in 19 lanes, each read three times
  reads_until_failure = 0;
}

TEST_F(RingReaderTest, TellsWhoWritesAndWhoWasDisplaced) {
  ASSERT_EQ(openTraceRing(path_, 8), 0);
  RingReader first;
  ASSERT_EQ(first.open(path_), 0);
  EXPECT_EQ(textOf(first.writers()), "made by own, running, displaced -");
  ASSERT_EQ(openTraceRing(path_, 8), 0);  // of its own ring a process knows
  EXPECT_EQ(writersNow(), "made by own, running, displaced -");
  ASSERT_EQ(first.open(path_), 0);
  makeByOther();
  EXPECT_EQ(textOf(first.writers()), "made by own, running, displaced -, gone");
  EXPECT_EQ(writersNow(), "made by other, running, displaced own");
  endOther();
  EXPECT_EQ(writersNow(), "made by other, displaced own");
  ASSERT_EQ(openTraceRing(path_, 8), 0);  // the former writer is dead
  EXPECT_EQ(writersNow(), "made by own, running, displaced -");
  closeTraceRing();
  EXPECT_EQ(writersNow(), "made by -, displaced -");
  makeByOther();
  EXPECT_EQ(writersNow(), "made by other, running, displaced -");
  endOther();
}

}  // namespace
