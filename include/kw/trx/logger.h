// SPDX-License-Identifier: Apache-2.0
// The writers of trace records: one that packs records, and the logger that the whole engine uses.
#ifndef KW_TRX_LOGGER_H_
#define KW_TRX_LOGGER_H_

#include <atomic>
#include <iosfwd>
#include <string>

#include "kw/trx/export.h"

namespace kw::trx::trx {

/// Packs the arguments of a trace call into a record and hands it to the platform's trace facility.
/// Any thread may call any operation at any time; none allocates. Each operation exists for the
/// levels error, info, debug and debug2, takes the trace id first, and returns the result of the
/// facility. Values and addresses are stored as 32-bit words, wider ones by their low 32 bits.
class ZQM_TRX_API KWTrace {
 public:
  /// `region` is the region handle of every record; the low 16 bits of `trace_class` its class.
  KWTrace(unsigned int region, unsigned int trace_class);
  KWTrace(const KWTrace&) = delete;
  KWTrace& operator=(const KWTrace&) = delete;
  virtual ~KWTrace();

  // Four values.
  virtual int error(unsigned long id, unsigned long v1, unsigned long v2, unsigned long v3,
                    unsigned long v4);
  virtual int info(unsigned long id, unsigned long v1, unsigned long v2, unsigned long v3,
                   unsigned long v4);
  virtual int debug(unsigned long id, unsigned long v1, unsigned long v2, unsigned long v3,
                    unsigned long v4);
  virtual int debug2(unsigned long id, unsigned long v1, unsigned long v2, unsigned long v3,
                     unsigned long v4);

  // Eight values.
  virtual int error(unsigned long id, unsigned long v1, unsigned long v2, unsigned long v3,
                    unsigned long v4, unsigned long v5, unsigned long v6, unsigned long v7,
                    unsigned long v8);
  virtual int info(unsigned long id, unsigned long v1, unsigned long v2, unsigned long v3,
                   unsigned long v4, unsigned long v5, unsigned long v6, unsigned long v7,
                   unsigned long v8);
  virtual int debug(unsigned long id, unsigned long v1, unsigned long v2, unsigned long v3,
                    unsigned long v4, unsigned long v5, unsigned long v6, unsigned long v7,
                    unsigned long v8);
  virtual int debug2(unsigned long id, unsigned long v1, unsigned long v2, unsigned long v3,
                     unsigned long v4, unsigned long v5, unsigned long v6, unsigned long v7,
                     unsigned long v8);

  // Four signed values.
  virtual int error(unsigned long id, int v1, int v2, int v3, int v4);
  virtual int info(unsigned long id, int v1, int v2, int v3, int v4);
  virtual int debug(unsigned long id, int v1, int v2, int v3, int v4);
  virtual int debug2(unsigned long id, int v1, int v2, int v3, int v4);

  // Eight signed values.
  virtual int error(unsigned long id, int v1, int v2, int v3, int v4, int v5, int v6, int v7,
                    int v8);
  virtual int info(unsigned long id, int v1, int v2, int v3, int v4, int v5, int v6, int v7,
                   int v8);
  virtual int debug(unsigned long id, int v1, int v2, int v3, int v4, int v5, int v6, int v7,
                    int v8);
  virtual int debug2(unsigned long id, int v1, int v2, int v3, int v4, int v5, int v6, int v7,
                     int v8);

  // The `length` bytes at `data`.
  virtual int error(unsigned long id, const unsigned char* data, int length) const;
  virtual int info(unsigned long id, const unsigned char* data, int length) const;
  virtual int debug(unsigned long id, const unsigned char* data, int length) const;
  virtual int debug2(unsigned long id, const unsigned char* data, int length) const;

  // A text with its terminating NUL.
  virtual int error(unsigned long id, const char* text) const;
  virtual int info(unsigned long id, const char* text) const;
  virtual int debug(unsigned long id, const char* text) const;
  virtual int debug2(unsigned long id, const char* text) const;

  // One address and three values.
  virtual int error(unsigned long id, const void* v1, unsigned long v2, unsigned long v3,
                    unsigned long v4) const;
  virtual int info(unsigned long id, const void* v1, unsigned long v2, unsigned long v3,
                   unsigned long v4) const;
  virtual int debug(unsigned long id, const void* v1, unsigned long v2, unsigned long v3,
                    unsigned long v4) const;
  virtual int debug2(unsigned long id, const void* v1, unsigned long v2, unsigned long v3,
                     unsigned long v4) const;

  // Two addresses and two values.
  virtual int error(unsigned long id, const void* v1, const void* v2, unsigned long v3,
                    unsigned long v4) const;
  virtual int info(unsigned long id, const void* v1, const void* v2, unsigned long v3,
                   unsigned long v4) const;
  virtual int debug(unsigned long id, const void* v1, const void* v2, unsigned long v3,
                    unsigned long v4) const;
  virtual int debug2(unsigned long id, const void* v1, const void* v2, unsigned long v3,
                     unsigned long v4) const;

  // Three addresses and one value.
  virtual int error(unsigned long id, const void* v1, const void* v2, const void* v3,
                    unsigned long v4) const;
  virtual int info(unsigned long id, const void* v1, const void* v2, const void* v3,
                   unsigned long v4) const;
  virtual int debug(unsigned long id, const void* v1, const void* v2, const void* v3,
                    unsigned long v4) const;
  virtual int debug2(unsigned long id, const void* v1, const void* v2, const void* v3,
                     unsigned long v4) const;

  // Four addresses.
  virtual int error(unsigned long id, const void* v1, const void* v2, const void* v3,
                    const void* v4) const;
  virtual int info(unsigned long id, const void* v1, const void* v2, const void* v3,
                   const void* v4) const;
  virtual int debug(unsigned long id, const void* v1, const void* v2, const void* v3,
                    const void* v4) const;
  virtual int debug2(unsigned long id, const void* v1, const void* v2, const void* v3,
                     const void* v4) const;

 protected:
  /// Sets the region handle of the records from now on.
  void setRegionHandle(unsigned int handle);

 private:
  int write(unsigned int level, unsigned long id, const void* data, int length) const;
  template <typename... Values>
  int writeWords(unsigned int level, unsigned long id, Values... values) const;
  int writeText(unsigned int level, unsigned long id, const char* text) const;

  std::atomic<unsigned int> region_;
  unsigned int trace_class_;
};

}  // namespace kw::trx::trx

namespace kw::clib_trx {

/// The logger of the process. It adds operations that take a region number first, and outputs of
/// text to the standard output, whose lines may interleave between threads.
class ZQM_TRX_API Logger : public kw::trx::trx::KWTrace {
 public:
  /// The one logger, usable to the very end of the process. Any thread may call it.
  static Logger* getLogger();

  Logger();
  ~Logger() override;

  // The operations without region stay reachable beside those declared here.
  using KWTrace::debug;
  using KWTrace::debug2;
  using KWTrace::error;
  using KWTrace::info;

  // The text "[level] message" on the output stream; no trace record.
  virtual void error(const std::string& message);
  virtual void info(const std::string& message);
  virtual void debug(const std::string& message);
  virtual void debug2(const std::string& message);

  // Four values.
  virtual int error(int region, unsigned long id, unsigned long v1, unsigned long v2,
                    unsigned long v3, unsigned long v4);
  virtual int info(int region, unsigned long id, unsigned long v1, unsigned long v2,
                   unsigned long v3, unsigned long v4);
  virtual int debug(int region, unsigned long id, unsigned long v1, unsigned long v2,
                    unsigned long v3, unsigned long v4);
  virtual int debug2(int region, unsigned long id, unsigned long v1, unsigned long v2,
                     unsigned long v3, unsigned long v4);

  // Eight values.
  virtual int error(int region, unsigned long id, unsigned long v1, unsigned long v2,
                    unsigned long v3, unsigned long v4, unsigned long v5, unsigned long v6,
                    unsigned long v7, unsigned long v8);
  virtual int info(int region, unsigned long id, unsigned long v1, unsigned long v2,
                   unsigned long v3, unsigned long v4, unsigned long v5, unsigned long v6,
                   unsigned long v7, unsigned long v8);
  virtual int debug(int region, unsigned long id, unsigned long v1, unsigned long v2,
                    unsigned long v3, unsigned long v4, unsigned long v5, unsigned long v6,
                    unsigned long v7, unsigned long v8);
  virtual int debug2(int region, unsigned long id, unsigned long v1, unsigned long v2,
                     unsigned long v3, unsigned long v4, unsigned long v5, unsigned long v6,
                     unsigned long v7, unsigned long v8);

  // Four signed values.
  virtual int error(int region, unsigned long id, int v1, int v2, int v3, int v4);
  virtual int info(int region, unsigned long id, int v1, int v2, int v3, int v4);
  virtual int debug(int region, unsigned long id, int v1, int v2, int v3, int v4);
  virtual int debug2(int region, unsigned long id, int v1, int v2, int v3, int v4);

  // Eight signed values.
  virtual int error(int region, unsigned long id, int v1, int v2, int v3, int v4, int v5, int v6,
                    int v7, int v8);
  virtual int info(int region, unsigned long id, int v1, int v2, int v3, int v4, int v5, int v6,
                   int v7, int v8);
  virtual int debug(int region, unsigned long id, int v1, int v2, int v3, int v4, int v5, int v6,
                    int v7, int v8);
  virtual int debug2(int region, unsigned long id, int v1, int v2, int v3, int v4, int v5, int v6,
                     int v7, int v8);

  // A text with its terminating NUL.
  virtual int error(int region, unsigned long id, const char* text);
  virtual int info(int region, unsigned long id, const char* text);
  virtual int debug(int region, unsigned long id, const char* text);
  virtual int debug2(int region, unsigned long id, const char* text);

  /// Makes `region` + 102 the region handle of the records from now on.
  void setRegion(int region);

  /// Writes "[", `level`, "] ", `message` and a line end to the standard output and flushes it.
  void logging(const std::string& level, const std::string& message);

  /// Writes "[trace] " and the text made from `format`, cut at 510 characters, as a line to the
  /// standard output; nothing for an empty text.
  void log(const char* format, ...) __attribute__((format(printf, 2, 3)));

 private:
  std::ostream* output_;
};

}  // namespace kw::clib_trx

#endif  // KW_TRX_LOGGER_H_
