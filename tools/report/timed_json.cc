// SPDX-License-Identifier: Apache-2.0
#include "report/timed_json.h"

namespace kw::trx::tools {

JsonWriter& TimedJson::time(const char* name, std::uint64_t time_ns) const {
  return json_.key(name).number(time_ns > start_ns_ ? time_ns - start_ns_ : 0);
}

JsonWriter& TimedJson::timeOrNull(const char* name, std::uint64_t time_ns) const {
  return time_ns == 0 ? json_.key(name).raw("null") : time(name, time_ns);
}

void TimedJson::request(const Request& request) const {
  json_.key("ring").number(request.ring);
  writeRequest(request, json_);
  time("startNs", request.start_ns);
  time("endNs", request.end_ns);
  json_.member("ending", nameOf(request.ending));
  if (request.start_lost) {
    json_.key("startLost").boolean(true);
  }
}

}  // namespace kw::trx::tools
