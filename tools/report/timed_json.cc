// SPDX-License-Identifier: Apache-2.0
#include "report/timed_json.h"

#include "common/text.h"

namespace kw::trx::tools {

JsonWriter& TimedJson::time(const char* name, std::uint64_t time_ns) const {
  return json_.key(name).number(time_ns > begin_ns_ ? time_ns - begin_ns_ : 0);
}

JsonWriter& TimedJson::timeOrNull(const char* name, std::uint64_t time_ns) const {
  return time_ns == 0 ? json_.key(name).raw("null") : time(name, time_ns);
}

void TimedJson::request(const Request& request) const {
  json_.key("ring").number(request.ring);
  json_.key("process").number(request.process_id).key("thread").number(request.thread_id);
  json_.member("request", hexText(request.id)).key("requestNumber").number(request.number);
  json_.member("kind", nameOf(request.kind)).member("name", request.name);
  json_.member("mode", request.mode).texts("units", request.units);
  json_.key("moreUnits").boolean(request.more_units);
  time("beginNs", request.start_ns);
  time("endNs", request.end_ns);
  json_.member("outcome", nameOf(request.ending));
  if (request.start_lost) {
    json_.key("beginLost").boolean(true);
  }
}

}  // namespace kw::trx::tools
