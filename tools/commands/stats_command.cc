// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "command_line/command_line.h"
#include "command_line/ring_reading.h"
#include "command_line/text_output.h"
#include "common/characters.h"
#include "common/json.h"
#include "common/text.h"
#include "common/times.h"
#include "table/code_meanings.h"
#include "trace/changes.h"
#include "trace/statistics.h"

namespace kw::trx::tools {
namespace {

constexpr unsigned int kMin = 0, kMedian = 50, kTail = 99, kMax = 100;
constexpr double kPercent = 100;
constexpr std::size_t kCountWidth = 8, kTimeWidth = 11;

struct StatsOptions {
  std::vector<std::string> rings, against;
  std::string split;
  bool json = false;
  FilterOptions requests;
};

/// Hands the requests that started before a time to one listener, the others to another one.
class SplitRequests : public RequestListener {
 public:
  SplitRequests(std::uint64_t split_ns, RequestListener& before, RequestListener& now)
      : split_ns_(split_ns), before_(before), now_(now) {}

  void spanEnded(const Request& request, const Span& span) override {
    (span.start_ns < split_ns_ ? before_ : now_).spanEnded(request, span);
  }

 private:
  const std::uint64_t split_ns_;
  RequestListener& before_;
  RequestListener& now_;
};

/// Reads rings together. Returns the exit status.
int readAllOf(const std::vector<std::string>& files, const RequestFilter& filter,
              RequestListener& listener) {
  FilteredRequests filtered(filter, listener);
  RequestReader reader(filtered);
  const int opened = openRings(files, reader);
  return opened == kExitOk ? readRings(reader, files, false) : opened;
}

/// Reads what the options name; of one trace in two parts, both. Returns the exit status.
int readAll(const StatsOptions& options, Statistics& before, Statistics& now) {
  std::uint64_t split_ns = 0;
  if (!options.split.empty()) {
    split_ns = *timeOf(options.split, endOfRings(options.rings));
  }
  const std::uint64_t end_ns = options.split.empty() ? 0 : endOfRings(options.rings);
  if (split_ns > end_ns) {
    throw std::runtime_error("--split: nothing in the rings is as late as " +
                             localMicrosText(split_ns) + "; they end at " +
                             localMicrosText(end_ns));
  }
  SplitRequests split(split_ns, before, now);
  const RequestFilter filter = filterOf(options.requests, options.rings);
  int status = readAllOf(options.rings, filter, split);
  if (status == kExitOk && !options.against.empty()) {
    status = readAllOf(options.against, filter, before);
  }
  return status;
}

void printColumns(const std::vector<std::string>& columns, const std::string& name) {
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const std::size_t width = i < 2 ? kCountWidth : kTimeWidth;
    const std::size_t size = charactersOf(columns[i]).size();
    std::cout << std::string(width > size ? width - size : 0, ' ') << columns[i];
  }
  std::cout << "  " << name << '\n';
}

void printFigures(const Statistics::Entry& entry) {
  const WorkFigures& figures = entry.second;
  const Durations& total = figures.total;
  std::string name = textOf(entry.first);
  if (figures.unfinished != 0) {
    name += "; " + std::to_string(figures.unfinished) + " not ended";
  }
  std::vector<std::string> columns = {std::to_string(figures.calls),
                                      std::to_string(figures.failures)};
  for (const unsigned int percent : {kMin, kMedian, kTail, kMax}) {
    columns.push_back(total.count() == 0 ? "-" : durationText(total.quantile(percent)));
  }
  columns.push_back(figures.own.count() == 0 ? "-" : durationText(figures.own.quantile(kMedian)));
  for (const std::uint64_t sum :
       {figures.own.sum(), figures.wait_ns, figures.lock_ns, figures.lock_wait_ns}) {
    columns.push_back(sum == 0 ? "-" : durationText(sum));
  }
  printColumns(columns, name);
}

/// False for rows that do nothing themselves.
bool takesTime(Command command) {
  return command == Command::kHAP || command == Command::kTable || command == Command::kWait;
}

void printStatistics(const Statistics& statistics) {
  printColumns({"calls", "failed", "min", "median", "99 %", "max", "own median", "own sum",
                "waits sum", "lock sum", "lock wait"},
               "");
  for (const bool haps : {true, false}) {
    for (const Statistics::Entry* entry : statistics.byOwnTime(haps)) {
      if (haps || takesTime(entry->first.command)) {
        printFigures(*entry);
      }
    }
  }
}

std::string callsText(const WorkFigures* figures) {
  return figures == nullptr ? "0" : std::to_string(figures->calls);
}

std::string failureText(const WorkFigures& figures) {
  char share[32];
  std::snprintf(
      share, sizeof(share), " (%.1f %%)",
      kPercent * static_cast<double>(figures.failures) / static_cast<double>(figures.calls));
  return std::to_string(figures.failures) + " of " + std::to_string(figures.calls) + share;
}

void printChange(const Change& change, const CodeMeaning& meaning) {
  std::string text = std::string(nameOf(change.kind)) + ": " + textOf(change.work) + ": ";
  switch (change.kind) {
    case Change::Kind::kFailsMore:
    case Change::Kind::kFailsLess:
      text += failureText(*change.before) + " -> " + failureText(*change.now);
      text += change.now->failures == 0
                  ? ""
                  : "; last: " + textWithDetail(change.now->last_failure, meaning);
      break;
    case Change::Kind::kNew:
    case Change::Kind::kGone:
      text += callsText(change.before) + " -> " + callsText(change.now) + " calls";
      break;
    default:
      for (const unsigned int percent : {kMedian, kTail}) {
        text += (percent == kMedian ? "median " : ", 99 % ") +
                durationText(change.before->own.quantile(percent)) + " -> " +
                durationText(change.now->own.quantile(percent));
      }
      text += ", " + callsText(change.before) + " -> " + callsText(change.now) + " calls";
  }
  std::cout << (isWorse(change.kind) ? paint(Colour::kRed, text) : text) << '\n';
}

/// "2 other HAPs and 1 other row", or one of them; empty when there are none.
std::string countText(std::size_t haps, std::size_t rows, const std::string& other) {
  std::vector<std::string> parts;
  for (const auto& [count, what] : {std::pair(haps, "HAP"), std::pair(rows, "row")}) {
    if (count != 0) {
      parts.push_back(std::to_string(count) + " " + other + what + (count == 1 ? "" : "s"));
    }
  }
  return listed(parts);
}

void printChanges(const Statistics& before, const Statistics& now,
                  const std::vector<Change>& changes, const CodeMeaning& meaning) {
  if (changes.empty()) {
    std::cout << "nothing became slower, and nothing fails more\n";
  }
  for (const Change& change : changes) {
    printChange(change, meaning);
  }
  const Unchanged same = unchangedBetween(before, now, changes);
  const std::string other = changes.empty() ? "" : "other ";
  const std::string as_before = countText(same.haps, same.rows, other);
  const std::string unended = countText(same.unended_haps, same.unended_rows, other);
  if (!as_before.empty()) {
    std::cout << as_before << " as before\n";
  }
  if (!unended.empty()) {
    std::cout << unended << " not compared: on one side no run has ended\n";
  }
}

void writeDurations(JsonWriter& json, const char* name, const Durations& durations) {
  json.key(name).beginObject().key("count").number(durations.count());
  json.key("minNs").number(durations.quantile(kMin));
  json.key("medianNs").number(durations.quantile(kMedian));
  json.key("p99Ns").number(durations.quantile(kTail));
  json.key("maxNs").number(durations.quantile(kMax));
  json.key("sumNs").number(durations.sum()).endObject();
}

void writeWork(JsonWriter& json, const Work& work) {
  if (!work.isHAP()) {
    write(work.row, json.key("row"));
    json.member("rowCommand", wordOf(work.command));
  }
  json.member("name", work.name);
}

void writeStatistics(JsonWriter& json, const Statistics& statistics, const CodeMeaning& meaning) {
  for (const bool haps : {true, false}) {
    json.key(haps ? "haps" : "rows").beginArray();
    for (const Statistics::Entry* entry : statistics.byOwnTime(haps)) {
      const WorkFigures& figures = entry->second;
      json.beginObject();
      writeWork(json, entry->first);
      json.key("calls").number(figures.calls).key("failures").number(figures.failures);
      json.member("lastFailure", textWithDetail(figures.last_failure, meaning));
      json.key("unfinished").number(figures.unfinished);
      writeDurations(json, "total", figures.total);
      writeDurations(json, "own", figures.own);
      json.key("waitNs").number(figures.wait_ns).key("lockNs").number(figures.lock_ns);
      json.key("lockWaitNs").number(figures.lock_wait_ns).endObject();
    }
    json.endArray();
  }
}

void printJson(const Statistics& before, const Statistics& now, const std::vector<Change>* changes,
               const CodeMeaning& meaning) {
  JsonWriter json(2);
  startOutput("stats", json);
  writeStatistics(json, now, meaning);
  if (changes != nullptr) {
    json.key("before").beginObject();
    writeStatistics(json, before, meaning);
    json.endObject().key("changes").beginArray();
    for (const Change& change : *changes) {
      json.beginObject().member("kind", nameOf(change.kind));
      writeWork(json, change.work);
      json.endObject();
    }
    json.endArray();
  }
  std::cout << json.endObject().taken() << '\n';
}

int showStatistics(StatsOptions options) {
  options.rings = ringsOf(options.rings);
  Statistics before, now;
  const int status = readAll(options, before, now);
  if (status != kExitOk) {
    return status;
  }
  sayLeftOut(before.leftOut() + now.leftOut());
  const bool compares = !options.against.empty() || !options.split.empty();
  if (now.all().empty() && before.all().empty()) {
    return fail("no record tells of a HAP or row; those of the level info must be in the ring");
  }
  const std::vector<Change> changes =
      compares ? changesBetween(before, now) : std::vector<Change>();
  if (options.json) {
    printJson(before, now, compares ? &changes : nullptr, configuredMeanings());
  } else if (!compares) {
    printStatistics(now);
  } else {
    printChanges(before, now, changes, configuredMeanings());
  }
  return std::any_of(changes.begin(), changes.end(),
                     [](const Change& change) { return isWorse(change.kind); })
             ? kExitFindings
             : kExitOk;
}

void describeStats(CommandOptions& command) {
  auto options = std::make_shared<StatsOptions>();
  addRings(command, options->rings);
  command.texts(options->against, {"--against", "Print what changed since this ring", "OLD"});
  command.text(options->split,
               {"--split",
                "Print what changed since this time, such as 10:24 or 2h before the end",
                "TIME",
                {},
                false,
                timeProblem});
  addFilterOptions(command, options->requests);
  command.json(options->json);
  command.excludes("--split", {"--against"});
  command.run([options] { return showStatistics(*options); });
}

const RegisteredCommand kStatsCommand(
    {"stats", Group::kTraces,
     "Tells how often and how long HAPs and rows ran, and what became slower",
     "Several rings are read together. Own times are without nested "
     "HAPs, called tables and the wait for other holders of the lock.",
     "trace.ring --against yesterday.ring", "it is told", "something became slower or fails more"},
    describeStats);

}  // namespace
}  // namespace kw::trx::tools
