# SPDX-License-Identifier: Apache-2.0
# The warnings that every target of this project is built with, linked PRIVATE. A preset makes them
# errors with CMAKE_COMPILE_WARNING_AS_ERROR.
add_library(zqm_trx_warnings INTERFACE)
target_compile_options(zqm_trx_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-psabi>
  $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wthread-safety>)
