// SPDX-License-Identifier: Apache-2.0
// What a module or host built earlier relies on: the order of virtual operations, and on the device
// the sizes of classes and the places of their public fields.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "kw/trx/file_path.h"
#include "kw/trx/hap_controller.h"
#include "kw/trx/hap_module.h"
#include "kw/trx/table.h"
#include "kw/trx/table_commands.h"
#include "kw/trx/table_controller.h"
#include "kw/trx/table_data.h"
#include "kw/trx/table_driver.h"
#include "kw/trx/table_format.h"
#include "kw/trx/trx.h"
#include "kw/trx/trx_config.h"
#include "kw/trx/trx_lock.h"

namespace kw::trx::trx {
namespace {

/// The position of a virtual operation in its class's table, which a pointer to member holds: the
/// byte offset, plus 1 where code addresses can't be odd. -1 when it is not virtual.
template <typename Pointer>
int slotOf(Pointer operation) {
  struct {
    std::uintptr_t place;
    std::ptrdiff_t adjustment;
  } raw{};
  static_assert(sizeof(raw) == sizeof(operation), "the C++ ABI's pointer to member function");
  std::memcpy(&raw, &operation, sizeof(raw));
#ifdef __arm__
  const bool is_virtual = (raw.adjustment & 1) != 0;
#else
  const bool is_virtual = (raw.place & 1) != 0;
  raw.place &= ~std::uintptr_t{1};
#endif
  return is_virtual ? static_cast<int>(raw.place / sizeof(void*)) : -1;
}

// The destructor takes the first two slots of every class.
constexpr int kFirst = 2;

/// Expects `error`, `info`, `debug` and `debug2` of one signature in this order from `slot` on.
template <typename Signature>
void expectLevels(int slot, Signature error, Signature info, Signature debug, Signature debug2) {
  EXPECT_EQ(slotOf(error), slot);
  EXPECT_EQ(slotOf(info), slot + 1);
  EXPECT_EQ(slotOf(debug), slot + 2);
  EXPECT_EQ(slotOf(debug2), slot + 3);
}

#define EXPECT_LEVELS(slot, class_name, result, constness, ...) \
  expectLevels<result (class_name::*)(__VA_ARGS__) constness>(  \
      slot, &class_name::error, &class_name::info, &class_name::debug, &class_name::debug2)

using U = unsigned long;
using P = const void*;

TEST(BinaryInterfaceTest, LoggersKeepTheOrderOfTheirOperations) {
  EXPECT_LEVELS(kFirst, KWTrace, int, , U, U, U, U, U);
  EXPECT_LEVELS(kFirst + 4, KWTrace, int, , U, U, U, U, U, U, U, U, U);
  EXPECT_LEVELS(kFirst + 8, KWTrace, int, , U, int, int, int, int);
  EXPECT_LEVELS(kFirst + 12, KWTrace, int, , U, int, int, int, int, int, int, int, int);
  EXPECT_LEVELS(kFirst + 16, KWTrace, int, const, U, const unsigned char*, int);
  EXPECT_LEVELS(kFirst + 20, KWTrace, int, const, U, const char*);
  EXPECT_LEVELS(kFirst + 24, KWTrace, int, const, U, P, U, U, U);
  EXPECT_LEVELS(kFirst + 28, KWTrace, int, const, U, P, P, U, U);
  EXPECT_LEVELS(kFirst + 32, KWTrace, int, const, U, P, P, P, U);
  EXPECT_LEVELS(kFirst + 36, KWTrace, int, const, U, P, P, P, P);
  using clib_trx::Logger;
  EXPECT_LEVELS(kFirst + 40, Logger, void, , const std::string&);
  EXPECT_LEVELS(kFirst + 44, Logger, int, , int, U, U, U, U, U);
  EXPECT_LEVELS(kFirst + 48, Logger, int, , int, U, U, U, U, U, U, U, U, U);
  EXPECT_LEVELS(kFirst + 52, Logger, int, , int, U, int, int, int, int);
  EXPECT_LEVELS(kFirst + 56, Logger, int, , int, U, int, int, int, int, int, int, int, int);
  EXPECT_LEVELS(kFirst + 60, Logger, int, , int, U, const char*);
}

/// Expects the operations one after the other from the first slot behind the destructor on.
template <typename... Operations>
void expectOrder(const char* class_name, Operations... operations) {
  int slot = kFirst;
  for (const int actual : {slotOf(operations)...}) {
    EXPECT_EQ(actual, slot++) << class_name;
  }
}

TEST(BinaryInterfaceTest, OtherClassesKeepTheOrderOfTheirOperations) {
  using hapapi::HAPAPI;
  using Row = const unsigned int&;
  using Text = const std::string&;
  using Rows = std::vector<unsigned int>;
  expectOrder("HAPAPI", &HAPAPI::beginHAPExec, &HAPAPI::endHAPExec, &HAPAPI::getTraceClass);
  expectOrder("KWException", &KWException::what);
  expectOrder("TRXException", &TRXException::what);
#define COMMAND(name) #name, &name::exec, &name::getNextIndex, &name::getNumber
  expectOrder(COMMAND(HAPTableCommand));
  expectOrder(COMMAND(TblCmdStart));
  expectOrder(COMMAND(TblCmdEnd), &TblCmdEnd::setRtnMsg);
  expectOrder(COMMAND(TblCmdHAP), &TblCmdHAP::setMember, &TblCmdHAP::isErrStop,
              &TblCmdHAP::isErrNop, &TblCmdHAP::isErrStack, &TblCmdHAP::isErrJump);
  expectOrder(COMMAND(TblCmdCheck), &TblCmdCheck::setErrMode, &TblCmdCheck::isErrStop,
              &TblCmdCheck::isErrJump);
  expectOrder(COMMAND(TblCmdWait), &TblCmdWait::setTime);
  expectOrder(COMMAND(TblCmdTable), &TblCmdTable::setTableName);
#undef COMMAND
  expectOrder("TblFmt00", &TblFmt00::checkFormat, &TblFmt00::createHAPTable, &TblFmt00::getColumn,
              static_cast<std::string (TblFmt00::*)(Row, Text)>(&TblFmt00::getMember),
              static_cast<std::string (TblFmt00::*)(Row, Row)>(&TblFmt00::getMember),
              static_cast<Rows (TblFmt00::*)(Row, Text, Row, Row)>(&TblFmt00::findEntry),
              static_cast<Rows (TblFmt00::*)(Row, Text)>(&TblFmt00::findEntry),
              &TblFmt00::checkTblCmd);
}

/// Bytes from the beginning of `object` to `field`.
template <typename Object, typename Field>
std::size_t placeOf(const Object& object, const Field& field) {
  return static_cast<std::size_t>(reinterpret_cast<const char*>(&field) -
                                  reinterpret_cast<const char*>(&object));
}

TEST(BinaryInterfaceTest, ClassesKeepTheirSizesOnTheDevice) {
  if (sizeof(void*) != 4) {
    GTEST_SKIP() << "sizes are fixed for 32-bit words alone";
  }
  const std::pair<std::size_t, std::size_t> sizes[] = {
      {sizeof(KWException), 32},   {sizeof(TRXException), 36},
      {sizeof(TRXError), 96},      {sizeof(TRXInfo), 212},
      {sizeof(HAPCtlInfo), 36},    {sizeof(hapapi::HAPAPI), 4},
      {sizeof(TRXLock), 12},       {sizeof(hapapi::HAPAPIExpandData), 4},
      {sizeof(KWTrace), 12},       {sizeof(clib_trx::Logger), 16},
      {sizeof(FilePath), 28},      {sizeof(TblCtlInfo), 72},
      {sizeof(TableDriver), 8},    {sizeof(HAPTableCommand), 12},
      {sizeof(TblCmdStart), 12},   {sizeof(TblCmdEnd), 36},
      {sizeof(TblCmdHAP), 76},     {sizeof(TblCmdCheck), 20},
      {sizeof(TblCmdWait), 20},    {sizeof(TblCmdTable), 36},
      {sizeof(HAPTable), 44},      {sizeof(TableList), 28},
      {sizeof(TableData), 40},     {sizeof(TblFmt00), 64},
      {sizeof(HAPDynamicLib), 8},  {sizeof(TblFmtFactory::item_check_list_t), 68},
      {sizeof(HAPController), 40}, {sizeof(TableController), 36},
      {sizeof(TRXConfig), 48},     {sizeof(kw::dev::parts::LibSemaphore), 20},
  };
  int position = 0;
  for (const auto& [actual, expected] : sizes) {
    EXPECT_EQ(actual, expected) << "position " << position;
    ++position;
  }
}

TEST(BinaryInterfaceTest, PublicFieldsKeepTheirPlacesOnTheDevice) {
  if (sizeof(void*) != 4) {
    GTEST_SKIP() << "places are fixed for 32-bit words alone";
  }
  const TRXInfo info;
  EXPECT_EQ(placeOf(info, info.error), 12U);
  EXPECT_EQ(placeOf(info, info.trxId), 108U);
  EXPECT_EQ(placeOf(info.error, info.error.errTableName), 32U);
  EXPECT_EQ(placeOf(info.error, info.error.errCmdNumber), 56U);
  const TblCtlInfo record("t", {});
  EXPECT_EQ(placeOf(record, record.tableName), 4U);
  EXPECT_EQ(placeOf(record, record.unitList), 28U);
  EXPECT_EQ(placeOf(record, record.index), 40U);
  EXPECT_EQ(placeOf(record, record.callTableName), 44U);
  EXPECT_EQ(placeOf(record, record.errEnd), 68U);
  const FilePath path;
  EXPECT_EQ(placeOf(path, path.value), 4U);
  const HAPTable table("t", 0);
  EXPECT_EQ(placeOf(table, table.name), 4U);
  const TableData data;
  EXPECT_EQ(placeOf(data, data.formatNo), 32U);
  EXPECT_EQ(placeOf(data, data.versionNo), 36U);
}

}  // namespace
}  // namespace kw::trx::trx
