// SPDX-License-Identifier: Apache-2.0
// Random table files, run by the engine and by a small model of what a run does. The model walks
// tables recursively, and takes an interruption for an event on its way instead of leaving.
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>

#include "table_fixture.h"

namespace kw::trx::testing {
namespace {

struct Row {
  std::string label, command, name, mode, error;
  unsigned int number;
};
using Program = std::map<std::string, std::vector<Row>>;

enum class Act { kSucceed, kFail, kThrowEngine, kThrowForeign, kStop };

/// What the HAPs of one request do, one after the other.
class Acts {
 public:
  explicit Acts(unsigned int seed) : random_(seed) {}
  Act next() {
    if (++calls_ > 12) return Act::kStop;
    const Act acts[] = {Act::kFail, Act::kFail, Act::kThrowEngine, Act::kThrowForeign};
    const auto draw = random_() % 9;
    return draw < 4 ? acts[draw] : Act::kSucceed;
  }

 private:
  std::mt19937 random_;
  int calls_ = 0;
};

std::string hex(unsigned int value) {
  std::ostringstream out;
  out << std::hex << value;
  return out.str();
}

/// What a request leaves behind.
struct End {
  std::string message, failed_table;
  unsigned int failed_number = 0, err_code = 0;
  bool mark = false;

  std::string text(const std::string& outcome) const {
    return "= " + outcome + " '" + message + "' " + failed_table + ":" + hex(failed_number) + " " +
           hex(err_code) + (mark ? " marked" : "");
  }
};

class Model {
 public:
  Model(const Program& program, int nest_limit, unsigned int seed)
      : program_(program), nest_limit_(nest_limit), acts_(seed) {}

  /// Everything that the request does and leaves behind, as text.
  std::string run() {
    try {
      const char* const outcome = runTable("t0") ? "TRX 7000b" : "ok";
      return log_ + end_.text(outcome);
    } catch (const char* exception) {
      return log_ + end_.text(exception);
    }
  }

 private:
  /// True when the table ends with error.
  bool runTable(const std::string& name) {
    const auto table = program_.find(name);
    if (table == program_.end()) {
      end_.err_code = 0x1000002;
      return true;
    }
    ++depth_[name];
    const bool error = runRows(name, table->second);
    --depth_[name];
    return error;
  }

  bool runRows(const std::string& table, const std::vector<Row>& rows) {
    for (std::size_t at = 0;; ++at) {
      if (stopped_) throw "TRX 70002";
      const Row& row = rows[at];
      const bool message = row.command == "END" && !row.name.empty();
      log_ += row.command + (message ? "!" : "") + hex(row.number) + " ";
      if (row.command == "END") {
        if (message) end_.message = row.name;
        return message;
      }
      if (row.command == "TABLE") {
        if (row.name.empty()) return false;
        if (depth_[row.name] > nest_limit_) throw "TRX 7000b";
        if (runTable(row.name)) return true;
      }
      if (row.command == "WAIT" && std::atoi(row.mode.c_str()) != 0) {
        log_ += "/TRX 70003/" + row.mode + " ";
      }
      if (row.command == "CHECK" && end_.mark) {
        if (row.error.empty()) return true;
        at = find(rows, row.error) - 1;
      }
      if (row.command == "HAP" && hapFails(row)) {
        if (row.error != "NOP" && end_.failed_table.empty()) {
          end_.failed_table = table;
          end_.failed_number = row.number;
        }
        if (row.error.empty()) return true;
        if (row.error == "STACK") {
          end_.mark = true;
        } else if (row.error != "NOP") {
          at = find(rows, row.error) - 1;
        }
      }
    }
  }

  bool hapFails(const Row& row) {
    if (row.name == "TBL_None") {
      end_.err_code = 0x1000001;
      return true;
    }
    Act act = acts_.next();
    for (; act == Act::kThrowForeign; act = acts_.next()) {
      log_ += "/other HAP" + hex(row.number) + " ";
    }
    stopped_ = act == Act::kStop;
    end_.err_code = act == Act::kFail ? 77 : end_.err_code;
    return act == Act::kThrowEngine || (act == Act::kFail && row.error != "NOP");
  }

  static std::size_t find(const std::vector<Row>& rows, const std::string& label) {
    std::size_t at = 0;
    while (rows[at].label != label) ++at;
    return at;
  }

  const Program& program_;
  int nest_limit_;
  Acts acts_;
  std::map<std::string, int> depth_;
  std::string log_;
  End end_;
  bool stopped_ = false;
};

class RandomTest : public TableFixture {
 protected:
  std::size_t below(std::size_t limit) { return random_() % limit; }

  /// A row of a table whose labels are "L" and the index of their row. Only HAPs that count may
  /// jump back, so that every run ends.
  Row makeRow(std::size_t at, std::size_t last) {
    const char* const commands[] = {"HAP", "HAP", "HAP", "HAP", "CHECK", "WAIT", "TABLE", "END"};
    Row row{"L" + std::to_string(at), commands[below(8)], "", "", "", ++number_};
    const std::string ahead = "L" + std::to_string(at + 1 + below(last - at));
    if (row.command == "HAP") {
      const bool known = below(6) != 0;
      row.name = known ? "TBL_Run" : "TBL_None";
      const std::string errors[] = {"", "NOP", "STACK",
                                    known ? "L" + std::to_string(below(last + 1)) : ahead};
      row.error = errors[below(4)];
    } else if (row.command == "CHECK") {
      row.error = below(2) == 0 ? ahead : "";
    } else if (row.command == "WAIT") {
      row.mode = below(2) == 0 ? "" : std::to_string(below(30));
    } else if (row.command == "TABLE") {
      row.name = below(12) == 0 ? "" : "t" + std::to_string(below(5));
    } else {
      row.name = below(3) == 0 ? "M" + std::to_string(number_) : "";
    }
    return row;
  }

  Program makeProgram() {
    Program program;
    for (std::size_t table = 0; table < 4; ++table) {
      std::vector<Row>& rows = program["t" + std::to_string(table)];
      const std::size_t last = 1 + below(8);
      rows.push_back({"L0", "START", "", "", "", ++number_});
      for (std::size_t at = 1; at < last; ++at) rows.push_back(makeRow(at, last));
      rows.push_back({"L" + std::to_string(last), "END", "", "", "", ++number_});
    }
    return program;
  }

  static Tables filesOf(const Program& program) {
    Tables tables;
    for (const auto& [name, rows] : program) {
      std::string text;
      for (const Row& row : rows) {
        text += row.label + "," + hex(row.number) + "," + row.command + "," + row.name + "," +
                row.mode + "," + row.error + "\n";
      }
      tables.emplace_back(name, text);
    }
    return tables;
  }

  /// The same text as the model gives, from the engine.
  std::string runEngine(trx::TRXInfo& info, unsigned int seed) {
    auto acts = std::make_shared<Acts>(seed);
    follow(info, [acts, this](trx::TRXInfo* context, const std::string&, const unsigned int*) {
      const Act act = acts->next();
      if (act == Act::kThrowEngine) throw trx::TRXException(0x7000d);
      if (act == Act::kThrowForeign) throw std::runtime_error("foreign");
      if (act == Act::kStop) engine->setStopFlag(true);
      if (act == Act::kFail) context->error.setErrCode(77);
      return act == Act::kFail ? 1 : 0;
    });
    info.setTableName("t0");
    TraceCapture capture(kw::platform::kTraceInfo);
    std::string log;
    for (;;) {
      const std::string outcome = run(info);
      std::istringstream flow(flowOf(capture.trail()));
      for (std::string token; flow >> token;) {
        if (token[0] >= 'A' && token[0] <= 'Z') log += token + " ";
      }
      outcomes_.insert(outcome.substr(0, 9));
      if (outcome != "other" && outcome.rfind("TRX 70003", 0) != 0) {
        const trx::TRXError& error = info.error;
        return log + End{info.getTblRtnMsg(), error.errTableName, error.errCmdNumber,
                         error.getErrCode(), info.isTblCmdErrStack()}
                         .text(outcome);
      }
      log += "/" + outcome + " ";
    }
  }

  std::mt19937 random_{20240607};
  unsigned int number_ = 0;
  std::set<std::string> outcomes_;
};

TEST_F(RandomTest, TheEngineDoesWhatTheModelDoes) {
  trx::TRXInfo info;
  for (unsigned int round = 0; round < 500; ++round) {
    const Program program = makeProgram();
    const int limit = static_cast<int>(below(3));
    load(filesOf(program), "haptable.tblcmd.wait.handler=requester\nhaptable.nest.exec.limit=" +
                               std::to_string(limit) + "\n");
    ASSERT_EQ(runEngine(info, round), Model(program, limit, round).run()) << "round " << round;
    ASSERT_TRUE(info.isTblCtlInfoEmpty());
    info.initialize();
    engine->setStopFlag(false);
  }
  const std::set<std::string> all = {"ok", "other", "TRX 7000b", "TRX 70002", "TRX 70003"};
  EXPECT_EQ(outcomes_, all) << "every outcome came up";
}

}  // namespace
}  // namespace kw::trx::testing
