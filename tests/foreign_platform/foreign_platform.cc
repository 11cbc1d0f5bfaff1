// SPDX-License-Identifier: Apache-2.0
// A tiny implementation of the platform interfaces: plain "key=value" lines, unquoted cells, one
// semaphore of a set, and records printed as they come. The environment says how it is nasty:
// FOREIGN_READER=seek sizes the stream first, unget looks ahead at each character;
// FOREIGN_TRACE=slow rests in each record, failing takes none.
#include "foreign_platform.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

constexpr int kSemaphores = 4;
constexpr short kSemNumber = 2;
constexpr useconds_t kRestMicroseconds = 200;

bool isSet(const char* variable, const char* value) {
  const char* const found = std::getenv(variable);
  return found != nullptr && std::strcmp(found, value) == 0;
}

}  // namespace

namespace kw::util::config {

CppProperties::CppProperties(bool) {}
CppProperties::~CppProperties() = default;

void CppProperties::load(const std::string& path) {
  // This device keeps its files where an environment variable says.
  const char* root = std::getenv("FOREIGN_ROOT");
  std::ifstream file((root == nullptr ? "" : root) + path);
  if (!file) {
    throw std::runtime_error(path);
  }
  for (std::string line; std::getline(file, line);) {
    const std::size_t equals = line.find('=');
    pairs_[line.substr(0, equals)] = line.substr(equals + 1);
  }
}

bool CppProperties::exist(const std::string& key) { return pairs_.count(key) != 0; }

std::string CppProperties::getProperty(const std::string& key) {
  return exist(key) ? pairs_.at(key) : std::string();
}

int CppProperties::getInt(const std::string& key) { return std::atoi(getProperty(key).c_str()); }

void CppProperties::clear() { pairs_.clear(); }

CommaSeparatedValues::CommaSeparatedValues() = default;
CommaSeparatedValues::~CommaSeparatedValues() = default;

int CommaSeparatedValues::load(std::istream& in) {
  std::string text;
  if (isSet("FOREIGN_READER", "seek")) {
    in.seekg(0, std::ios::end);
    text.resize(static_cast<std::size_t>(in.tellg()));
    in.seekg(0);
    in.read(&text[0], static_cast<std::streamsize>(text.size()));
  } else {
    while (in.peek() != std::istream::traits_type::eof()) {
      const char c = static_cast<char>(in.get());
      in.unget();
      text += in.get() == c ? c : '?';
    }
  }
  parse(text);
  return 1;
}

void CommaSeparatedValues::parse(const std::string& text) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    auto& row = rows_.emplace_back();
    std::istringstream cells(line);
    for (std::string cell; std::getline(cells, cell, ',');) {
      row.push_back(cell);
    }
    row.push_back("no cell of the file!");
  }
}

int CommaSeparatedValues::size() { return static_cast<int>(rows_.size()); }
int CommaSeparatedValues::rowCount() { return size(); }
int CommaSeparatedValues::columnCount(int row) { return static_cast<int>((*this)[row].size()) - 1; }
std::vector<std::string>& CommaSeparatedValues::operator[](int row) {
  return rows_[static_cast<std::size_t>(row)];
}

}  // namespace kw::util::config

namespace kw::sysobj {

int Component::getType() { return type_; }
int Component::getNo() { return no_; }
void Component::getTreePath(TreePath& path) { path.text = std::string(".") + name_; }

TreePath::TreePath() = default;
TreePath::~TreePath() = default;
std::string TreePath::toString() { return text; }

}  // namespace kw::sysobj

namespace kw::dev::parts {

LibSemaphore::LibSemaphore(int key)
    : semFlags(0), semNumber(kSemNumber), unchecked(false), held(false), id(-1), key_(key) {}
LibSemaphore::~LibSemaphore() = default;

int LibSemaphore::create() {
  id = semget(key_, kSemaphores, IPC_CREAT | IPC_EXCL | 0600);
  return id == -1 ? 7 : semctl(id, kSemNumber, SETVAL, 1);
}

int LibSemaphore::get() {
  id = semget(key_, kSemaphores, 0);
  return id == -1 ? 7 : 0;
}

}  // namespace kw::dev::parts

extern "C" {

int kw_trace_write(unsigned long region, unsigned int level, unsigned short trace_class,
                   unsigned long id, const void*, int length) {
  if (isSet("FOREIGN_TRACE", "failing")) {
    return -1;
  }
  if (isSet("FOREIGN_TRACE", "slow")) {
    usleep(kRestMicroseconds);
  }
  return std::printf("trace %lu %x %u %lx %d\n", region, level, static_cast<unsigned>(trace_class),
                     id, length);
}

int ntz_hash64(unsigned long long value) { return value == 0 ? 64 : __builtin_ctzll(value); }

}  // extern "C"
