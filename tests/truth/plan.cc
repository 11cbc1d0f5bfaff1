// SPDX-License-Identifier: Apache-2.0
#include "plan.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "steering.h"
#include "truth_log.h"

namespace kw::trx::truth {
namespace {

constexpr std::size_t kTables = 5;
constexpr unsigned int kKinds = static_cast<unsigned int>(Rare::kNothing) + 1;
/// A table whose file has a name in Latin-1. Rows cannot call it.
constexpr char kLatinTable[] = "t\xe9";

std::string hex(unsigned int value) {
  std::ostringstream out;
  out << std::hex << value;
  return out.str();
}

}  // namespace

Plan::Plan(unsigned int with_seed)
    : seed(with_seed),
      random_(with_seed),
      focus_(static_cast<Rare>(with_seed % kKinds)),
      is_mixed_(with_seed / kKinds % 2 == 1) {
  processes = 1 + below(3);
  const bool alone = isFocus(Rare::kStop) || isFocus(Rare::kKill) || isFocus(Rare::kLock);
  threads = alone ? 1 : 1 + below(3);
  phases = 1 + below(2);
  requests = 6 + below(10);
  requester = below(3) != 0 || isFocus(Rare::kHandOver) || isFocus(Rare::kAbandon) ||
              isFocus(Rare::kSharedId);
  exclusion = isFocus(Rare::kLock);
  own_rings = below(4) == 0;
  unique_ids = !isFocus(Rare::kSharedId) && (requester || below(2) == 0);
  debug_records = below(5) != 0;
  hap_limit = static_cast<unsigned int>(below(4));
  table_limit = static_cast<unsigned int>(below(3));
  trace_class = below(2) == 0 ? 7 : 9;
  makeTables();
}

bool Plan::happens(Rare rare, std::mt19937& random) const {
  const bool ends_much = rare == Rare::kHang || rare == Rare::kKill || rare == Rare::kStop;
  if (isFocus(rare)) return random() % (ends_much ? 12 : 3) == 0;
  return is_mixed_ && random() % (ends_much ? 400 : 40) == 0;
}

/// A row of a table whose labels are "L" and the index of their row. HAPs alone jump back: they do
/// not fail for ever.
TableRow Plan::makeRow(std::size_t table, std::size_t at, std::size_t last) {
  const char* const commands[] = {"HAP",   "HAP",  "HAP",   "HAP", "HAP",
                                  "CHECK", "WAIT", "TABLE", "END"};
  TableRow row{"L" + std::to_string(at), commands[below(std::size(commands))], "", "", "", "", 0};
  row.number = number_ += 1 + static_cast<unsigned int>(below(7));
  const std::string ahead = "L" + std::to_string(at + 1 + below(last - at));
  const bool is_last = table + 1 >= kTables;
  if (row.command == "TABLE" && (calls_left_ == 0 || (is_last && below(4) != 0))) {
    row.command = "HAP";
  }
  if (row.command == "END" && below(2) == 0) row.command = "HAP";
  if (row.command == "HAP") {
    const bool known = below(12) != 0;
    // The one with a name in Latin-1 cannot stand in a table.
    row.name = known ? kHAPNames[below(std::size(kHAPNames) - 1)] : "TRU_None";
    const std::string errors[] = {"", "NOP", "STACK", "STACK",
                                  known ? "L" + std::to_string(below(last + 1)) : ahead};
    row.error = errors[below(std::size(errors))];
    row.mode = below(3) == 0 ? "m" + std::to_string(below(3)) : "";
    row.para = below(3) == 0 ? hex(static_cast<unsigned int>(below(0x10000))) + " ff" : "";
  } else if (row.command == "CHECK") {
    row.error = below(2) == 0 ? ahead : "";
  } else if (row.command == "WAIT") {
    row.mode = below(5) == 0 ? "" : std::to_string(below(4));
  } else if (row.command == "TABLE") {
    --calls_left_;
    const bool itself = below(6) == 0;
    if (itself) calls_left_ = 0;
    const std::size_t next = itself ? table : table + 1 + below(is_last ? 1 : kTables - table - 1);
    row.name = next < kTables ? "t" + std::to_string(next) : "none";
  } else if (row.command == "END") {
    row.name = below(2) == 0 ? "M" + std::to_string(row.number) : "";
  }
  return row;
}

void Plan::makeTables() {
  for (std::size_t table = 0; table <= kTables; ++table) {
    std::vector<TableRow>& rows =
        tables[table < kTables ? "t" + std::to_string(table) : kLatinTable];
    const std::size_t last = 3 + below(8);
    calls_left_ = table < kTables ? 2 : 0;
    number_ = static_cast<unsigned int>(below(2) * 0x1000);
    rows.push_back({"L0", "START", "", "", "", "", ++number_});
    for (std::size_t at = 1; at < last; ++at) rows.push_back(makeRow(table, at, last));
    rows.push_back({"L" + std::to_string(last), "END", "", "", "", "", ++number_});
  }
}

std::string Plan::tablesJson() const {
  std::string all;
  for (const auto& [name, rows] : tables) {
    all += (all.empty() ? "{" : ",") + quoted(name) + ":[";
    for (const TableRow& row : rows) {
      all += &row == &rows.front() ? "[" : ",[";
      for (const std::string& cell :
           {row.label, hex(row.number), row.command, row.name, row.mode}) {
        all += quoted(cell) + ",";
      }
      all += quoted(row.error) + "]";
    }
    all += "]";
  }
  return all + "}";
}

void Plan::write(const std::string& dir, const std::string& module) const {
  std::filesystem::create_directories(dir + "/root/kw/etc");
  std::filesystem::create_directories(dir + "/tables");
  std::ofstream(dir + "/root/kw/etc/kwpath.conf") << "path.trx.conf=" << dir << "/trx.conf\n";
  std::ofstream conf(dir + "/trx.conf");
  conf << "hapmodule.number=1\nhapmodule.file.0=" << module << "\nhaptable.number=" << tables.size()
       << "\nhapmodule.nest.exec.limit=" << hap_limit
       << "\nhaptable.nest.exec.limit=" << table_limit << "\n"
       << (requester ? "haptable.tblcmd.wait.handler=requester\n" : "")
       << (exclusion ? "hapmodule.exec.exclusion.control=on\n" : "");
  std::size_t index = 0;
  for (const auto& [name, rows] : tables) {
    const std::string path = dir + "/tables/" + name + ".csv";
    std::ofstream file(path);
    file << "FORMAT,0\nVERSION,1\n";
    for (const TableRow& row : rows) {
      file << row.label << ',' << hex(row.number) << ',' << row.command << ',' << row.name << ','
           << row.mode << ',' << row.error << ',' << row.para << '\n';
    }
    conf << "haptable.file." << index++ << '=' << path << '\n';
  }
  Event("plan")
      .number("seed", seed)
      .number("requester", requester ? 1 : 0)
      .number("exclusion", exclusion ? 1 : 0)
      .number("ownRings", own_rings ? 1 : 0)
      .number("debug", debug_records ? 1 : 0)
      .number("focus", static_cast<unsigned int>(focus_))
      .number("hapLimit", hap_limit)
      .number("tableLimit", table_limit)
      .raw("tables", tablesJson());
}

}  // namespace kw::trx::truth
