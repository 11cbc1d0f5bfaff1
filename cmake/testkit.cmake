# SPDX-License-Identifier: Apache-2.0
# Finds GoogleTest and builds the test kit with it. The kit drives the stand-in's system root and
# trace; without the stand-in, or without GoogleTest in a build without tests, it is left out.
include(GoogleTest)
if(NOT ZQM_TRX_TESTS)
  find_package(GTest QUIET)
elseif(CMAKE_CROSSCOMPILING)
  # No GoogleTest is packaged for the device: its sources are.
  set(INSTALL_GTEST OFF)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
else()
  find_package(GTest REQUIRED)
endif()

if(TARGET GTest::gtest AND ZQM_TRX_PLATFORM STREQUAL "")
  include(${CMAKE_CURRENT_LIST_DIR}/zqm_trx_module_test.cmake)
  add_subdirectory(testkit)
endif()
