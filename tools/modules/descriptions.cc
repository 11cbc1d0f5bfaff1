// SPDX-License-Identifier: Apache-2.0
#include "modules/descriptions.h"

#include <charconv>
#include <optional>
#include <vector>

#include "common/characters.h"
#include "common/text.h"

namespace kw::trx::tools {
namespace {

constexpr char kFieldSeparator = '\037';

/// Numbers stand there as they do in the source, in decimal or as 0x..., unsigned or not.
std::optional<std::uint32_t> numberFrom(const std::string& text) {
  const bool is_hex = text.rfind("0x", 0) == 0 || text.rfind("0X", 0) == 0;
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data() + (is_hex ? 2 : 0), end, number, is_hex ? 16 : 10);
  const std::string rest(read.ptr, end);
  const bool is_number =
      read.ec == std::errc() && rest.find_first_not_of("uUlL") == std::string::npos;
  return is_number ? std::make_optional(number) : std::nullopt;
}

/// Takes one record: its kind, its HAP, and the fields of the kind. False when it is no such one.
bool take(const std::vector<std::string>& fields, HAPDescriptions& descriptions) {
  const auto is = [&fields](const char* kind, std::size_t count) {
    return fields.size() == count + 2 && fields[0] == kind;
  };
  const auto number = [&fields](std::size_t field) { return numberFrom(fields[field]); };
  const auto text = [&fields](std::size_t field) { return visible(fields[field]); };
  if (is("about", 1)) {
    descriptions[fields[1]].about = text(2);
  } else if (is("mode", 2)) {
    descriptions[fields[1]].modes[fields[2]] = text(3);
  } else if (is("para", 5) && number(2) && number(5) && number(6)) {
    descriptions[fields[1]].paras[*number(2)] = {text(3), text(4), *number(5), *number(6)};
  } else if (is("result", 3) && number(2)) {
    descriptions[fields[1]].results[*number(2)] = {text(3), text(4)};
  } else if (is("error", 2) && number(2)) {
    descriptions[fields[1]].errors[*number(2)] = text(3);
  } else {
    return false;
  }
  return true;
}

}  // namespace

HAPDescriptions descriptionsFrom(const std::string& section, std::size_t& unreadable) {
  HAPDescriptions descriptions;
  unreadable = 0;
  for (std::size_t at = 0; at < section.size();) {
    const std::size_t end = section.find('\0', at);
    if (end != at) {  // the linker may fill up between files
      unreadable += take(partsOf(section.substr(at, end - at), kFieldSeparator), descriptions) &&
                            end != std::string::npos
                        ? 0
                        : 1;
    }
    at = end == std::string::npos ? section.size() : end + 1;
  }
  return descriptions;
}

}  // namespace kw::trx::tools
