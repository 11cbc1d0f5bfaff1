// SPDX-License-Identifier: Apache-2.0
// Records table requests of one id, to run them again. One thread.
#ifndef KW_TRX_TOOLS_REPLAY_REQUEST_RECORDING_H_
#define KW_TRX_TOOLS_REPLAY_REQUEST_RECORDING_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "replay/recorded_request.h"
#include "trace/request.h"

namespace kw::trx::tools {

class RequestRecording : public RequestListener {
 public:
  /// Records the requests of `id`, with `number` that one alone; 0 and 0: all.
  explicit RequestRecording(std::uint32_t id, std::uint32_t number = 0)
      : id_(id), number_(number) {}

  void rowStarted(const Request& request, const Span& row) override;
  void spanEnded(const Request& request, const Span& span) override;
  void requestEnded(const Request& request) override;

  /// The request, or the only table request of its id; to be called once, behind the end of all.
  /// Throws `NotReplayable`.
  RecordedRequest result();

  /// A request, or why it cannot be replayed.
  struct Recorded {
    RecordedRequest request;
    std::string problem;  ///< empty: it can
  };
  /// All table requests of its id, in the order of their ends; to be called behind the last.
  std::vector<Recorded> results();

  /// The rows of all requests, those of one in the order of their starts.
  std::vector<Span> rows() const;

 private:
  struct Rows {
    std::vector<Span> rows;                ///< in the order of their starts
    std::vector<std::string> tables;       ///< that run, outermost first
    unsigned int within = 0, deepest = 0;  ///< as often the table called last, and any, ran already
  };

  bool isWanted(const Request& request) const;
  const Request& find() const;
  RecordedRequest recordedOf(const Request& wanted);

  const std::uint32_t id_, number_;
  std::map<std::uint64_t, Rows> rows_;  // by serial
  std::vector<Request> ended_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPLAY_REQUEST_RECORDING_H_
