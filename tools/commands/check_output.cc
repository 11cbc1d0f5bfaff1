// SPDX-License-Identifier: Apache-2.0
#include "commands/check_output.h"

#include <algorithm>
#include <cctype>
#include <iostream>

#include "command_line/text_output.h"
#include "common/text.h"

namespace kw::trx::tools {
namespace {

constexpr char kSarifSchema[] = "https://json.schemastore.org/sarif-2.1.0.json";
constexpr char kWarningRule[] = "warning";
constexpr char kErrorRule[] = "error";

void write(const Finding& finding, JsonWriter& json) {
  json.beginObject().member("severity", finding.is_error ? "error" : "warning");
  if (finding.line != 0) {
    json.key("line").number(finding.line);
    json.member("column", finding.column.substr(0, 1));
    json.member("name", finding.column.size() > 3 ? finding.column.substr(3) : "");
  }
  json.member("message", finding.message);
  if (finding.id != 0) {
    json.member("traceId", hexText(finding.id));
  }
  json.endObject();
}

/// The address of a file: relative to where the tool runs, as it was named, or that of a whole
/// path.
std::string uriOf(const std::string& file) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string uri = file[0] == '/' ? "file://" : "";
  for (const char c : file) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) != 0 || std::string("/-._~").find(c) != std::string::npos) {
      uri += c;
    } else {
      uri += {'%', digits[byte / 16], digits[byte % 16]};
    }
  }
  return uri;
}

std::string ruleOf(const Finding& finding) {
  return finding.id != 0 ? hexText(finding.id) : finding.is_error ? kErrorRule : kWarningRule;
}

}  // namespace

void print(const CheckedFile& checked) {
  for (const Finding& finding : checked.findings) {
    std::cout << checked.file;
    if (finding.line != 0) {
      std::cout << ':' << finding.line << " (" << finding.column << ')';
    }
    std::cout << ": "
              << (finding.is_error ? paint(Colour::kRed, "error")
                                   : paint(Colour::kYellow, "warning"))
              << ": " << finding.message;
    if (finding.id != 0) {
      std::cout << ' ' << paint(Colour::kGrey, "[" + hexText(finding.id) + "]");
    }
    std::cout << '\n';
  }
}

void CheckSum::add(const CheckedFile& checked) {
  const bool has_errors = checked.has(true);
  const bool has_warnings = checked.has(false);
  good += has_errors || has_warnings ? 0 : 1;
  with_errors += has_errors ? 1 : 0;
  with_warnings += has_warnings && !has_errors ? 1 : 0;
  unreadable += checked.is_unreadable ? 1 : 0;
}

void print(const CheckSum& sum) {
  const std::size_t all = sum.good + sum.with_errors + sum.with_warnings;
  std::cout << all << (all == 1 ? " file: " : " files: ") << sum.good << " good, "
            << sum.with_warnings << " with warnings, " << sum.with_errors << " with errors\n";
}

CheckJson::CheckJson() {
  startOutput("check", json_);
  json_.key("files").beginArray();
}

void CheckJson::add(const CheckedFile& checked) {
  json_.beginObject().member("file", checked.file).key("loads").boolean(!checked.has(true));
  json_.key("findings").beginArray();
  for (const Finding& finding : checked.findings) {
    write(finding, json_);
  }
  json_.endArray().endObject();
}

CheckSarif::CheckSarif() {
  json_.beginObject().member("$schema", kSarifSchema).member("version", "2.1.0");
  json_.key("runs").beginArray().beginObject();
  json_.key("tool").beginObject().key("driver").beginObject();
  json_.member("name", "trxctl").member("version", ZQM_TRX_VERSION);
  json_.endObject().endObject().key("results").beginArray();
}

/// A finding about a whole file stands at its first line, as hosts want one.
void CheckSarif::add(const CheckedFile& checked) {
  for (const Finding& finding : checked.findings) {
    const std::string cell = finding.line == 0 ? "" : finding.column + ": ";
    json_.beginObject().member("ruleId", ruleOf(finding));
    json_.member("level", finding.is_error ? "error" : "warning");
    json_.key("message").beginObject().member("text", cell + finding.message).endObject();
    json_.key("locations").beginArray().beginObject();
    json_.key("physicalLocation").beginObject().key("artifactLocation").beginObject();
    json_.member("uri", uriOf(checked.file)).endObject();
    json_.key("region").beginObject().key("startLine").number(std::max(finding.line, 1U));
    json_.endObject().endObject().endObject().endArray().endObject();
  }
}

std::string CheckSarif::taken() {
  return json_.endArray().endObject().endArray().endObject().taken();
}

}  // namespace kw::trx::tools
