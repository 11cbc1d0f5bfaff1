// SPDX-License-Identifier: Apache-2.0
#include "common/processes.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>

namespace kw::trx::tools {
namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;
using Work = std::function<Texts(std::size_t number)>;

/// Stands for the count when an exception came out of the work; its message follows.
const std::string kProblem = "!";

/// A process, and what it writes: for each number the count of its texts and these, each text with
/// a NUL behind it.
struct Worker {
  pid_t process;
  File results;
  std::vector<std::size_t> numbers;  ///< that it works on, in this order
};

void writeText(std::FILE* out, const std::string& text) {
  std::fwrite(text.c_str(), 1, text.size() + 1, out);
}

std::optional<std::string> readText(std::FILE* in) {
  std::string text;
  for (int c = std::getc(in); c != '\0'; c = std::getc(in)) {
    if (c == EOF) {
      return std::nullopt;
    }
    text += static_cast<char>(c);
  }
  return text;
}

/// The texts of the next number; none when the process ended before. Throws what the work threw.
std::optional<Texts> readTexts(std::FILE* in) {
  const std::optional<std::string> count = readText(in);
  if (count == kProblem) {
    throw std::runtime_error(readText(in).value_or(""));
  }
  Texts texts(count ? std::stoul(*count) : 0);
  for (std::string& text : texts) {
    const std::optional<std::string> read = readText(in);
    if (!read) {
      return std::nullopt;
    }
    text = *read;
  }
  return count ? std::make_optional(texts) : std::nullopt;
}

/// Ends without what the parent has to do at its end.
[[noreturn]] void runWorker(const std::vector<std::size_t>& numbers, int descriptor,
                            const Work& work) {
  const File out(fdopen(descriptor, "w"));
  try {
    for (const std::size_t number : numbers) {
      const Texts texts = work(number);
      writeText(out.get(), std::to_string(texts.size()));
      for (const std::string& text : texts) {
        writeText(out.get(), text);
      }
      std::fflush(out.get());
    }
  } catch (const std::exception& problem) {
    writeText(out.get(), kProblem);
    writeText(out.get(), problem.what());
    std::fflush(out.get());
  }
  _exit(0);
}

Worker start(const std::vector<std::size_t>& numbers, const Work& work) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    throw std::runtime_error(std::string("cannot make a pipe: ") + std::strerror(errno));
  }
  Worker worker{fork(), File(fdopen(ends[0], "r")), numbers};
  if (worker.process == 0) {
    worker.results.reset();
    runWorker(numbers, ends[1], work);
  }
  close(ends[1]);
  if (worker.process < 0) {
    throw std::runtime_error(std::string("cannot start a process: ") + std::strerror(errno));
  }
  return worker;
}

std::string endOf(int status) {
  return "its process ended " + (WIFSIGNALED(status)
                                     ? std::string("by the signal ") + strsignal(WTERMSIG(status))
                                     : "with the status " + std::to_string(WEXITSTATUS(status)));
}

}  // namespace

std::size_t usualJobs() { return std::max(1U, std::thread::hardware_concurrency()); }

std::vector<Texts> inProcesses(std::size_t count, std::size_t jobs, const Work& work) {
  jobs = std::min(jobs, count);
  std::fflush(nullptr);  // or the children would write it again
  std::vector<Worker> workers;
  for (std::size_t job = 0; job < jobs; ++job) {
    std::vector<std::size_t> numbers;  // of long and short work alike
    for (std::size_t number = job; number < count; number += jobs) {
      numbers.push_back(number);
    }
    workers.push_back(start(numbers, work));
  }
  std::vector<Texts> results(count);
  for (Worker& worker : workers) {
    std::size_t done = 0;
    for (; done < worker.numbers.size(); ++done) {
      const std::optional<Texts> texts = readTexts(worker.results.get());
      if (!texts) {
        break;
      }
      results[worker.numbers[done]] = *texts;
    }
    int status = 0;
    waitpid(worker.process, &status, 0);
    for (; done < worker.numbers.size(); ++done) {
      results[worker.numbers[done]] = {endOf(status)};
    }
  }
  return results;
}

}  // namespace kw::trx::tools
