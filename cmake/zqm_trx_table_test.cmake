# SPDX-License-Identifier: Apache-2.0
include_guard(GLOBAL)

# zqm_trx_add_table_test(<name> <case file>...)
#
# Registers with ctest a test that runs the cases of the files with `trxctl test`: the tool that is
# built along, or the installed one.
function(zqm_trx_add_table_test name)
  if(NOT ARGN)
    message(FATAL_ERROR "zqm_trx_add_table_test(${name}): no case file is given")
  endif()
  if(TARGET trxctl)
    set(tool trxctl)
  else()
    find_program(ZQM_TRX_TRXCTL trxctl HINTS "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/../../../../bin"
      "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/../../../bin")
    if(NOT ZQM_TRX_TRXCTL)
      message(FATAL_ERROR "zqm_trx_add_table_test(${name}) needs trxctl (package zqm-trx-tools)")
    endif()
    set(tool ${ZQM_TRX_TRXCTL})
  endif()
  add_test(NAME ${name} COMMAND ${tool} test ${ARGN} WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
endfunction()
