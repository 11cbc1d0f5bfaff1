// SPDX-License-Identifier: Apache-2.0
#include "tables/row_notes.h"

#include <optional>
#include <utility>

#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

/// A damaged ring may name any number of tables.
constexpr std::size_t kMostMissing = 20;

}  // namespace

RowNotes::RowNotes(KnownTables tables) : tables_(std::move(tables)), finder_(tables_.flows) {}

RowNote* RowNotes::take(const kw::platform::TraceRecord& record, const SliceTracker::Place& place,
                        const std::string* called) {
  std::optional<TracedRow> ran = tracedRowOf(record, place);
  if (!ran) {
    return nullptr;
  }
  saw_row_ = true;
  if (called != nullptr) {
    ran->called = *called;
  }
  noteWait(*ran, place.request);
  const Slice* const slice = innermost(place, Slice::Kind::kRow);
  const std::uint64_t begin_ns = slice == nullptr ? record.time_ns : slice->begin_ns;
  const bool resumed = slice != nullptr && slice->resumed;
  Thread& thread = threads_[{record.process_id, record.thread_id}];
  const bool goes_on = rowCommandOf(record) == nullptr && thread.begin_ns == begin_ns &&
                       thread.resumed == resumed && thread.ran.table == ran->table &&
                       thread.ran.number == ran->number;
  if (!goes_on) {
    thread = {begin_ns, resumed, std::move(*ran), {}};
    thread.note = noteOf(thread.ran, slice != nullptr && slice->doubtful);
  } else if (!thread.ran.called && ran->called) {
    thread.ran.called = ran->called;
    RowNote note = noteOf(thread.ran, slice != nullptr && slice->doubtful);
    note.is_told = thread.note.is_told && note.problem == thread.note.problem;
    thread.note = std::move(note);
  }
  return &thread.note;
}

/// A WAIT row that goes on after an interruption does not tell its time again.
void RowNotes::noteWait(TracedRow& ran, std::uint32_t request) {
  if (ran.wait_ms) {
    waits_ms_[request] = *ran.wait_ms;
  } else if (const auto known = waits_ms_.find(request);
             ran.command == trx::kCommandWait && known != waits_ms_.end()) {
    ran.wait_ms = known->second;
  }
}

RowNote RowNotes::noteOf(const TracedRow& ran, bool doubtful) const {
  const RowFinder::Found found = finder_.find(ran);
  std::string problem = changeText(found, ran);
  if (doubtful && !problem.empty()) {
    problem = "records are missing or damaged here; if not, " + problem;
  }
  return {found.table, found.is_same ? found.row : nullptr, problem, false};
}

void RowNotes::told(RowNote& note, const SliceTracker::Place& place) {
  if (!note.is_told && note.table == nullptr) {
    const Slice* const table = innermost(place, Slice::Kind::kTable);
    ++missing_[table == nullptr ? std::string() : table->name];
  }
  note.is_told = true;
}

std::vector<std::string> RowNotes::missing() const {
  std::vector<std::string> sentences;
  if (!saw_row_) {
    sentences.emplace_back("no record tells of a row; those of the level info must be in the ring");
  }
  for (const auto& [table, rows] : missing_) {
    if (sentences.size() == kMostMissing) {
      sentences.push_back("rows of " + std::to_string(missing_.size() - kMostMissing) +
                          " more tables that are not among the files");
      break;
    }
    sentences.push_back(tables_.refused.count(table) == 0
                            ? notFoundText(table, rows)
                            : std::to_string(rows) + " rows ran of table " + table +
                                  ", whose file the engine does not load; trxctl check tells why");
  }
  return sentences;
}

}  // namespace kw::trx::tools
