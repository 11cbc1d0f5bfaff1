// SPDX-License-Identifier: Apache-2.0
// What the commands that run a request share: units, start of the engine, outcome in words.
#ifndef KW_TRX_TOOLS_TRXCTL_REQUEST_H_
#define KW_TRX_TOOLS_TRXCTL_REQUEST_H_

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kw/sysobj/component.h"
#include "kw/trx/errors.h"
#include "kw/trx/trx_info.h"

namespace kw::trx::trxctl {

struct RequestOptions {
  std::string name;
  std::vector<std::string> units;
  bool debug_modules = false;
  std::string ring;
};

/// The options of a request; `what` is what NAME stands for.
void addRequestOptions(CLI::App& command, RequestOptions& options, const std::string& what);

/// The units named on the command line, with the objects above them.
class Units {
 public:
  /// `texts`: TYPE:NO or TYPE:NO:PATH, the names in PATH parted by "/". Throws `CLI::ParseError`.
  explicit Units(const std::vector<std::string>& texts);

  std::vector<kw::sysobj::Component*>& list() { return list_; }

 private:
  void add(const std::string& text);

  std::vector<std::unique_ptr<kw::sysobj::Component>> owned_;
  std::vector<kw::sysobj::Component*> list_;
};

/// Loads the engine and installs an API object that does nothing. False when that failed, after
/// saying why. From then on an interrupt sets the engine's stop flag; a second one ends the tool.
bool startEngine(const RequestOptions& options);

/// A request of the engine, and what is told of it.
struct Request {
  std::string what;            ///< its name in the words printed, such as "table selftest"
  std::function<void()> call;  ///< runs it, and runs it on after a wait
  /// Called for each wait that the engine hands over. Null: the engine hands none over, and an
  /// exception with that code is a failure.
  std::function<void(unsigned int time_ms)> wait;
};

/// Runs `request` on `info` until it has ended and says in words what came of it. `reason` is read
/// afterwards: the last reason told by the records that were written. Returns the exit status.
int runRequest(trx::TRXInfo& info, const Request& request, const std::string& reason);

}  // namespace kw::trx::trxctl

#endif  // KW_TRX_TOOLS_TRXCTL_REQUEST_H_
