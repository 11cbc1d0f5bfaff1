// SPDX-License-Identifier: Apache-2.0
#include "commands/compare_output.h"

#include <algorithm>
#include <iostream>

#include "command_line/text_output.h"
#include "common/characters.h"
#include "common/json.h"
#include "common/text.h"

namespace kw::trx::tools {
namespace {

using Lines = std::vector<std::string>;

constexpr int kJsonIndent = 2;
constexpr std::size_t kMaxFailuresNamed = 4;
/// Lines that are compared to find those that differ, and lines that are printed of them.
constexpr std::size_t kMaxCompared = 500;
constexpr std::size_t kMaxPrinted = 30;
constexpr char kFailure[] = ": fails";

bool isFailure(const std::string& line) {
  const std::string end = kFailure;
  return line.size() > end.size() && line.compare(line.size() - end.size(), end.size(), end) == 0;
}

/// "3 steps are the same; HAP A fails", of the first `count` lines of both.
std::string sameText(const Lines& lines, std::size_t count) {
  Lines failures;
  for (std::size_t i = 0; i < count; ++i) {
    if (isFailure(lines[i])) {
      failures.push_back(lines[i].substr(0, lines[i].size() - std::string(kFailure).size()));
    }
  }
  return std::to_string(count) + (count == 1 ? " step is" : " steps are") + " the same" +
         (failures.empty() ? ""
                           : "; " + listed(failures, kMaxFailuresNamed) +
                                 (failures.size() == 1 ? " fails" : " fail"));
}

void printLine(const char* sign, Colour colour, const std::string& line) {
  std::cout << "    " << paint(colour, std::string(sign) + ' ' + line) << '\n';
}

/// Of each line of both how many lines can be the same behind it.
std::vector<std::vector<std::uint16_t>> sameBehind(const Lines& a, const Lines& b) {
  std::vector<std::vector<std::uint16_t>> same(a.size() + 1,
                                               std::vector<std::uint16_t>(b.size() + 1));
  for (std::size_t i = a.size(); i-- > 0;) {
    for (std::size_t j = b.size(); j-- > 0;) {
      same[i][j] = a[i] == b[j] ? static_cast<std::uint16_t>(same[i + 1][j + 1] + 1)
                                : std::max(same[i + 1][j], same[i][j + 1]);
    }
  }
  return same;
}

/// Prints what differs behind the first `from` lines: - old, + new, = lines that are the same.
void printDifferent(const RunPair& runs, std::size_t from) {
  const auto rest = [from](const Lines& lines) {
    const auto end = std::min(lines.size(), from + kMaxCompared);
    return Lines(lines.begin() + static_cast<std::ptrdiff_t>(from),
                 lines.begin() + static_cast<std::ptrdiff_t>(end));
  };
  const Lines a = rest(runs.old_lines);
  const Lines b = rest(runs.new_lines);
  const auto same = sameBehind(a, b);
  std::size_t i = 0;
  std::size_t j = 0;
  for (std::size_t printed = 0; (i < a.size() || j < b.size()) && printed < kMaxPrinted;
       ++printed) {
    if (i < a.size() && j < b.size() && a[i] == b[j]) {
      std::size_t count = 0;
      for (; i < a.size() && j < b.size() && a[i] == b[j]; ++i, ++j) ++count;
      printLine("=", Colour::kGrey,
                sameText({a.begin() + static_cast<std::ptrdiff_t>(i - count), a.end()}, count));
    } else if (i < a.size() && (j == b.size() || same[i + 1][j] >= same[i][j + 1])) {
      printLine("-", Colour::kRed, visible(a[i++]));
    } else {
      printLine("+", Colour::kGreen, visible(b[j++]));
    }
  }
  if (i < a.size() || j < b.size()) {
    std::cout << "      and more\n";
  }
}

void print(const RunPair& runs) {
  const std::size_t both = std::min(runs.old_lines.size(), runs.new_lines.size());
  const auto end = runs.old_lines.begin() + static_cast<std::ptrdiff_t>(both);
  const auto same = static_cast<std::size_t>(
      std::mismatch(runs.old_lines.begin(), end, runs.new_lines.begin()).first -
      runs.old_lines.begin());
  if (same != 0) {
    printLine("=", Colour::kGrey, sameText(runs.old_lines, same));
  }
  printDifferent(runs, same);
}

void print(const ComparedTable& table) {
  if (!table.missing.empty()) {
    std::cout << "table " << table.name << ": " << paint(Colour::kRed, table.missing) << '\n';
    return;
  }
  const std::size_t count = table.comparison.differences.size();
  std::cout << "table " << table.name << ": "
            << (count != 0                     ? paint(Colour::kRed, std::to_string(count) +
                                                                         (count == 1 ? " difference" : " differences"))
                : table.comparison.is_complete ? paint(Colour::kGreen, "the same in all runs")
                                               : "no difference found")
            << "; " << table.comparison.states << " states";
  if (!table.comparison.is_complete) {
    std::cout << "; " << paint(Colour::kYellow, "left open") << ": there are more";
  }
  std::cout << '\n';
  for (std::size_t i = 0; i < count; ++i) {
    const Difference& one = table.comparison.differences[i];
    std::cout << "\n  " << nameOf(one.kind) << ": " << one.old_text << "; now " << one.new_text
              << '\n';
    print(table.runs[i]);
  }
}

void printRequests(const std::vector<ComparedRequest>& requests) {
  std::size_t same = 0;
  for (const ComparedRequest& request : requests) {
    same += request.problem.empty() && request.isSame() ? 1 : 0;
    if (!request.problem.empty()) {
      std::cout << "\n"
                << paint(Colour::kYellow, "not replayed") << ": " << visible(request.problem)
                << '\n';
    } else if (!request.isSame()) {
      std::cout << "\nrequest " << request.name << ": " << paint(Colour::kRed, "differs") << '\n';
      print(request.runs);
    }
  }
  std::cout << "\n"
            << same << " of " << requests.size()
            << " recorded requests would have done the same; records do not tell the words of HAPs "
               "and the messages of tables\n";
}

}  // namespace

void printComparison(const ComparisonResult& result) {
  for (const ComparedTable& table : result.tables) {
    print(table);
  }
  if (!result.requests.empty()) {
    printRequests(result.requests);
  }
}

void printComparisonJson(const ComparisonResult& result) {
  JsonWriter json{kJsonIndent};
  startOutput("compare", json);
  json.key("tables").beginArray();
  for (const ComparedTable& table : result.tables) {
    json.beginObject().member("table", table.name).member("missing", table.missing);
    json.key("same").boolean(table.isSame() && table.comparison.is_complete);
    json.key("complete").boolean(table.comparison.is_complete);
    json.key("states").number(table.comparison.states).key("differences").beginArray();
    for (std::size_t i = 0; i < table.comparison.differences.size(); ++i) {
      const Difference& one = table.comparison.differences[i];
      json.beginObject().member("kind", nameOf(one.kind)).member("old", one.old_text);
      json.member("new", one.new_text).texts("oldRun", table.runs[i].old_lines);
      json.texts("newRun", table.runs[i].new_lines).endObject();
    }
    json.endArray().endObject();
  }
  json.endArray().key("requests").beginArray();
  for (const ComparedRequest& request : result.requests) {
    json.beginObject().member("request", request.name).member("problem", request.problem);
    json.key("same").boolean(request.problem.empty() && request.isSame());
    json.texts("recorded", request.runs.old_lines).texts("replayed", request.runs.new_lines);
    json.endObject();
  }
  std::cout << json.endArray().endObject().taken() << '\n';
}

}  // namespace kw::trx::tools
