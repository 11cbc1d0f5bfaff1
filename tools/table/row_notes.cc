// SPDX-License-Identifier: Apache-2.0
#include "table/row_notes.h"

#include <utility>

namespace kw::trx::tools {
namespace {

/// A damaged ring may name any number of tables.
constexpr std::size_t kMaxMissing = 20;

}  // namespace

RowNotes::RowNotes(KnownTables tables) : tables_(std::move(tables)), finder_(tables_.flows) {}

RowNote* RowNotes::take(const Event& event, const Place& place, const std::string* called) {
  const Span* const row = place.innermost(Span::Kind::kRow);
  if (row == nullptr) {
    return nullptr;
  }
  saw_row_ = true;
  Span ran = *row;
  if (called != nullptr) {
    ran.name = *called;
    ran.was_called = true;
  }
  Thread& thread = threads_[{event.record->process_id, event.record->thread_id}];
  const bool goes_on =
      !startsRow(event.kind) && thread.ran.start_ns == ran.start_ns && thread.ran.row == ran.row;
  if (!goes_on) {
    thread.note = noteOf(ran);
    thread.ran = std::move(ran);
  } else if (!thread.ran.was_called && ran.was_called) {
    RowNote note = noteOf(ran);
    note.is_told = thread.note.is_told && note.problem == thread.note.problem;
    thread.note = std::move(note);
    thread.ran = std::move(ran);
  }
  return &thread.note;
}

RowNote RowNotes::noteOf(const Span& ran) const {
  const RowFinder::Found found = finder_.find(ran);
  std::string problem = changeText(found, ran);
  if (ran.is_incomplete && !problem.empty()) {
    problem = "records are missing or damaged here; if not, " + problem;
  }
  return {found.table, found.is_same ? found.row : nullptr, problem, false};
}

void RowNotes::told(RowNote& note, const Place& place) {
  if (!note.is_told && note.table == nullptr) {
    const Span* const table = place.innermost(Span::Kind::kTable);
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
    if (sentences.size() == kMaxMissing) {
      sentences.push_back("rows of " + std::to_string(missing_.size() - kMaxMissing) +
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
