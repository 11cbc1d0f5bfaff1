// SPDX-License-Identifier: Apache-2.0
// The engine with the modules of the benchmarks, on files of its own, and the trace ring. One of
// each per process; the main thread makes them, and both live until it ends.
#ifndef BENCH_SUPPORT_BENCH_ENGINE_H_
#define BENCH_SUPPORT_BENCH_ENGINE_H_

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "kw/trx/trx.h"

namespace bench {

/// A folder in memory where there is one, removed at the end.
class Folder {
 public:
  Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder();

  const std::string& path() const { return path_; }
  /// Writes a file and returns its full path.
  std::string write(const std::string& name, const std::string& content) const;

 private:
  std::string path_;
};

/// A table file of `rows` HAP rows between START and END that call `hap`. With `label_every` not 0
/// each row of that many has a label and names another one as its error label.
std::string tableText(std::size_t rows, const std::string& hap, std::size_t label_every = 0);

/// Full path of the module that has the HAP "BM<number>_Run"; 0 to 9.
std::string moduleFile(int number);

class BenchEngine {
 public:
  BenchEngine();

  /// Writes the configuration and loads it.
  void load(const std::vector<std::string>& modules, const std::vector<std::string>& tables) const;

  const Folder& folder() const { return folder_; }
  kw::trx::trx::TRX* get() const { return engine_; }

 private:
  Folder folder_;
  kw::trx::trx::TRX* engine_;
};

/// Lets records go to a ring file for a scope.
class OpenRing {
 public:
  explicit OpenRing(const Folder& folder);
  OpenRing(const OpenRing&) = delete;
  OpenRing& operator=(const OpenRing&) = delete;
  ~OpenRing();
};

/// How many trace records `work` writes. No ring may be open.
double countRecords(const std::function<void()>& work);

}  // namespace bench

#endif  // BENCH_SUPPORT_BENCH_ENGINE_H_
