// SPDX-License-Identifier: Apache-2.0
// The reader of trace rings, on any bytes and on rings that are damaged here and there.
//
// The first byte of an input tells what it is: 0: a file as it stands behind that byte; otherwise
// damage to a ring of lanes that hold one record (1) or many (2), as damage.h has it.
#include <fstream>
#include <iterator>

#include "damage.h"
#include "harness.h"
#include "kw/platform.h"
#include "kw/trace.h"

namespace kw::trx::fuzz {
namespace {

constexpr unsigned long kRecordsOfNarrow = 8;
constexpr unsigned long kRecordsOfWide = 300;

std::string makeRing(const std::string& path, unsigned long records) {
  require(platform::openTraceRing(path, records) == 0, "a ring can be made");
  for (unsigned long id = 0; id < records; ++id) {
    kw_trace_write(1, 1, 1, id, &id, sizeof(id));
  }
  platform::closeTraceRing();
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string ringOf(std::string_view text, const std::string& scratch) {
  static const std::string narrow = makeRing(scratch, kRecordsOfNarrow);
  static const std::string wide = makeRing(scratch, kRecordsOfWide);
  const int kind = text.empty() ? 0 : text[0] % 3;
  text.remove_prefix(text.empty() ? 0 : 1);
  return kind == 0 ? std::string(text) : damaged(kind == 1 ? narrow : wide, text);
}

}  // namespace
}  // namespace kw::trx::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kw::trx::fuzz;
  static const InputFile file("ring");
  const std::string_view text = textOf(data, size);
  const std::string ring = ringOf(text, file.dir().path() + "/scratch");
  kw::platform::TraceRingReader reader;
  if (reader.open(file.write(ring)) != 0) return 0;
  std::size_t records = 0;
  bool doubtful = false;
  for (kw::platform::TraceRecord record; reader.next(record); ++records) {
    doubtful = doubtful || record.doubtful;
    require(record.data.size() <= kw::platform::kTraceDataMax, "a record keeps so many bytes");
  }
  if (text == "\1" || text == "\2") {
    require(records == (text[0] == 1 ? kRecordsOfNarrow : kRecordsOfWide) && reader.lost() == 0,
            "a whole ring has all its records");
    require(!doubtful, "of a whole ring nothing is doubtful");
  }
  require(records * kw::platform::kTraceDataMax <= ring.size(), "a record has its place");
  return 0;
}
