// SPDX-License-Identifier: Apache-2.0
// What the commands that read trace rings share: which requests are wanted, and the loop. One
// thread.
#ifndef KW_TRX_TOOLS_COMMAND_LINE_RING_READING_H_
#define KW_TRX_TOOLS_COMMAND_LINE_RING_READING_H_

#include <functional>
#include <string>
#include <vector>

#include "command_line/command_line.h"
#include "trace/request_filter.h"
#include "trace/request_reader.h"

namespace kw::trx::tools {

/// The options that choose requests, as given.
struct FilterOptions {
  std::string since, until, request;
  std::size_t last = 0;
  RequestFilter filter;  ///< the other ones
};

/// Adds them to a command.
void addFilterOptions(CommandOptions& command, FilterOptions& options);

/// The filter that they make. Times that count from the end, and the last requests, are those of
/// `rings`.
RequestFilter filterOf(const FilterOptions& options, const std::vector<std::string>& rings);

/// The rings that are read: `files`, or when there are none trace.ring in the system root. Throws
/// `UsageError` when there is no system root either.
std::vector<std::string> ringsOf(const std::vector<std::string>& files);

/// Adds the argument RING...
void addRings(CommandOptions& command, std::vector<std::string>& rings);

/// Adds --tables: table files and folders of them, in the place of those of the configuration.
void addTables(CommandOptions& command, std::vector<std::string>& tables);

/// Opens rings in `reader`. Returns the exit status: on failure after saying why.
int openRings(const std::vector<std::string>& files, RequestReader& reader);

/// Says on standard error that no figure counts so many `runs` of HAPs and rows.
void sayLeftOut(std::uint64_t runs);

/// Reads `reader`, opened, to its end, and says on standard error what is missing, suspect or odd
/// in its rings. Returns the exit status: a read that failed leaves unknown what is behind it. With
/// `follow` it goes on with new records and with rings that are made anew, until SIGINT or until
/// nobody reads standard output any more; `on_pause` is called whenever there is no record.
int readRings(RequestReader& reader, const std::vector<std::string>& files, bool follow,
              const std::function<void()>& on_pause = {});

/// Waits for each of these rings until it can be opened. False: interrupted.
bool waitForRings(const std::vector<std::string>& files);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMAND_LINE_RING_READING_H_
