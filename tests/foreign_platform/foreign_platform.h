// SPDX-License-Identifier: Apache-2.0
// Declarations that have the operations which the engine calls, and differ in all else from those
// of the stand-in: no operation is const, fields have other places and types, the API object has
// further operations, and nothing else is exported.
#ifndef FOREIGN_PLATFORM_H_
#define FOREIGN_PLATFORM_H_

#include <istream>
#include <map>
#include <string>
#include <vector>

#define FOREIGN_CALLED __attribute__((visibility("default")))

namespace kw::util::config {

class CppProperties {
 public:
  FOREIGN_CALLED explicit CppProperties(bool reserved);
  FOREIGN_CALLED virtual ~CppProperties();
  FOREIGN_CALLED void load(const std::string& path);
  FOREIGN_CALLED bool exist(const std::string& key);
  FOREIGN_CALLED std::string getProperty(const std::string& key);
  FOREIGN_CALLED int getInt(const std::string& key);
  FOREIGN_CALLED void clear();

 private:
  std::map<std::string, std::string> pairs_;
};

/// Every row has one cell more than `columnCount` says.
class CommaSeparatedValues {
 public:
  FOREIGN_CALLED CommaSeparatedValues();
  virtual ~CommaSeparatedValues();
  FOREIGN_CALLED int load(std::istream& in);
  FOREIGN_CALLED int size();
  FOREIGN_CALLED int rowCount();
  FOREIGN_CALLED int columnCount(int row);
  FOREIGN_CALLED std::vector<std::string>& operator[](int row);

 private:
  void parse(const std::string& text);

  std::vector<std::vector<std::string>> rows_;
};

}  // namespace kw::util::config

namespace kw::sysobj {

class TreePath {
 public:
  FOREIGN_CALLED TreePath();
  FOREIGN_CALLED ~TreePath();
  FOREIGN_CALLED std::string toString();

  std::string text;
};

class Component {
 public:
  Component(int type, int no, const char* name) : name_(name), no_(no), type_(type) {}
  FOREIGN_CALLED int getType();
  FOREIGN_CALLED int getNo();
  FOREIGN_CALLED void getTreePath(TreePath& path);

 private:
  const char* name_;
  int no_;
  int type_;
};

}  // namespace kw::sysobj

namespace kw::dev::parts {

/// The third semaphore of a set of four; the system undoes nothing.
class LibSemaphore {
 public:
  FOREIGN_CALLED explicit LibSemaphore(int key);
  FOREIGN_CALLED virtual ~LibSemaphore();
  FOREIGN_CALLED int create();
  FOREIGN_CALLED int get();

  short semFlags;
  short semNumber;
  bool unchecked;
  bool held;
  int id;

 private:
  int key_;
};

}  // namespace kw::dev::parts

namespace kw::trx::trx {
class TRXInfo;
}  // namespace kw::trx::trx

namespace kw::trx::hapapi {

class HAPAPI {
 public:
  virtual int version() { return 3; }
  virtual ~HAPAPI() {}
  virtual void beginHAPExec(trx::TRXInfo* info) = 0;
  virtual void endHAPExec(trx::TRXInfo* info) = 0;
  virtual void reserve(int) {}
  virtual const char* vendor() { return "foreign"; }
  virtual unsigned int getTraceClass() = 0;
};

}  // namespace kw::trx::hapapi

extern "C" {
FOREIGN_CALLED int kw_trace_write(unsigned long region, unsigned int level,
                                  unsigned short trace_class, unsigned long id, const void* data,
                                  int length);
FOREIGN_CALLED int ntz_hash64(unsigned long long value);
}

#endif  // FOREIGN_PLATFORM_H_
