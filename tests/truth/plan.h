// SPDX-License-Identifier: Apache-2.0
// What one seed of the truth test does: its processes, its configuration, its tables, and how often
// each rare thing happens.
#ifndef KW_TRX_TESTS_TRUTH_PLAN_H_
#define KW_TRX_TESTS_TRUTH_PLAN_H_

#include <cstddef>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace kw::trx::truth {

/// Each seed has one rare thing that it does often, half of them all others now and then.
enum class Rare {
  kHang,          ///< a HAP that never returns
  kKill,          ///< a HAP that kills its process
  kForget,        ///< a context that is not initialised before its next request
  kOtherContext,  ///< requests inside a HAP
  kOddNames,      ///< Latin-1 and tabs
  kProductTrace,  ///< a module that writes records with ids of the engine
  kRefusal,       ///< of a context that runs or is null, of unknown HAPs and tables
  kStop,          ///< the stop flag
  kErrorsOff,     ///< errors disabled for a context
  kRecursion,     ///< a HAP of its own name inside itself
  kForeign,       ///< exceptions that are not the engine's
  kAbandon,       ///< waiting tables that nobody goes on with
  kHandOver,      ///< waiting tables that another thread goes on with
  kSharedId,      ///< contexts of one id that wait at once
  kLock,          ///< exclusion control
  kSuddenDeath,   ///< processes killed wherever they are
  kNothing        ///< plain requests
};

struct TableRow {
  std::string label, command, name, mode, error, para;
  unsigned int number;
};
using Tables = std::map<std::string, std::vector<TableRow>>;

class Plan {
 public:
  explicit Plan(unsigned int seed);

  /// True as often as `rare` happens in this seed.
  bool happens(Rare rare, std::mt19937& random) const;
  bool isFocus(Rare rare) const { return focus_ == rare; }

  /// Writes root, configuration and tables below `dir`, and an event with the tables.
  void write(const std::string& dir, const std::string& module) const;

  const unsigned int seed;
  std::size_t processes, threads, phases, requests;
  bool requester, exclusion, own_rings, unique_ids, debug_records;
  unsigned int hap_limit, table_limit, trace_class;
  Tables tables;

 private:
  std::size_t below(std::size_t limit) { return random_() % limit; }
  void makeTables();
  TableRow makeRow(std::size_t table, std::size_t at, std::size_t last);
  std::string tablesJson() const;

  std::mt19937 random_;
  Rare focus_;
  bool is_mixed_;
  std::size_t calls_left_ = 0;
  unsigned int number_ = 0;
};

}  // namespace kw::trx::truth

#endif  // KW_TRX_TESTS_TRUTH_PLAN_H_
