// SPDX-License-Identifier: Apache-2.0
// A tiny implementation of the platform interfaces: plain "key=value" lines, unquoted cells, one
// semaphore, names joined with a dot, and records printed as they come.
#include <sys/ipc.h>
#include <sys/sem.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "kw/dev/parts/lib_semaphore.h"
#include "kw/ntz_hash64.h"
#include "kw/sysobj/component.h"
#include "kw/sysobj/tree_path.h"
#include "kw/trace.h"
#include "kw/trx/hapapi/hapapi.h"
#include "kw/util/config/comma_separated_values.h"
#include "kw/util/config/cpp_properties.h"

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
  for (std::string line; std::getline(in, line);) {
    auto& row = rows_.emplace_back();
    std::istringstream cells(line);
    for (std::string cell; std::getline(cells, cell, ',');) {
      row.push_back(cell);
    }
  }
  return 0;
}

int CommaSeparatedValues::size() { return static_cast<int>(rows_.size()); }
int CommaSeparatedValues::rowCount() { return size(); }
int CommaSeparatedValues::columnCount(int row) {
  return static_cast<int>(rows_[static_cast<std::size_t>(row)].size());
}
const std::vector<std::string>& CommaSeparatedValues::operator[](int row) {
  return rows_[static_cast<std::size_t>(row)];
}

}  // namespace kw::util::config

namespace kw::sysobj {

Component::Component(int type, int no, std::string name, Component* parent)
    : type_(type), no_(no), name_(std::move(name)), parent_(parent) {}
Component::~Component() = default;
int Component::getType() { return type_; }
int Component::getNo() { return no_; }
void Component::getTreePath(TreePath& path) { path.names_ = {name_}; }

TreePath::TreePath() = default;
TreePath::~TreePath() = default;
std::string TreePath::toString() { return names_.empty() ? "" : "." + names_.back(); }

}  // namespace kw::sysobj

namespace kw::dev::parts {

LibSemaphore::LibSemaphore(int key)
    : id(-1), held(false), unchecked(false), semNumber(0), semFlags(SEM_UNDO), key_(key) {}
LibSemaphore::~LibSemaphore() = default;

int LibSemaphore::create() {
  id = semget(key_, 1, IPC_CREAT | IPC_EXCL | 0600);
  return id == -1 ? -1 : semctl(id, 0, SETVAL, 1);
}

int LibSemaphore::get() {
  id = semget(key_, 1, 0);
  return id == -1 ? -1 : 0;
}

}  // namespace kw::dev::parts

namespace kw::trx::hapapi {

HAPAPI::~HAPAPI() = default;

}  // namespace kw::trx::hapapi

extern "C" {

int kw_trace_write(unsigned long region, unsigned int level, unsigned short, unsigned long id,
                   const void*, int length) {
  return std::printf("trace %lu %x %lx %d\n", region, level, id, length);
}

int ntz_hash64(unsigned long long value) { return value == 0 ? 64 : __builtin_ctzll(value); }

}  // extern "C"
