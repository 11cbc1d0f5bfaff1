// SPDX-License-Identifier: Apache-2.0
// The truth file: what the host does, a line of JSON an event, written at once, so that a kill
// loses none. Any thread and any process of the host writes to it.
#ifndef KW_TRX_TESTS_TRUTH_TRUTH_LOG_H_
#define KW_TRX_TESTS_TRUTH_TRUTH_LOG_H_

#include <cstdint>
#include <string>
#include <vector>

#include "kw/sysobj/component.h"

namespace kw::trx::truth {

/// Opens the file anew. Exits when it cannot be written.
void openTruth(const std::string& path);

/// A number that no other event of the host has, of whatever process.
std::uint64_t nextSerial();

/// Kernel id of the calling thread.
std::uint64_t threadId();

/// One event; written at the end of its scope, with time, process and thread.
class Event {
 public:
  explicit Event(const char* kind);
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  ~Event();

  Event& number(const char* key, std::uint64_t value);
  /// Bytes that are no printable ASCII are written as \u00XX.
  Event& text(const char* key, const std::string& value);
  /// The tree paths of `units`.
  Event& units(const std::vector<kw::sysobj::Component*>& units);
  /// `json` as it stands.
  Event& raw(const char* key, const std::string& json);

 private:
  std::string line_;
};

/// `text` as a string of JSON.
std::string quoted(const std::string& text);

}  // namespace kw::trx::truth

#endif  // KW_TRX_TESTS_TRUTH_TRUTH_LOG_H_
