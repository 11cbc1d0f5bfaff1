# SPDX-License-Identifier: Apache-2.0
include_guard(GLOBAL)

# Sets `variable` to the tool: that which is built along, or the installed one.
function(zqm_trx_find_tool variable)
  if(TARGET trxctl)
    set(${variable} trxctl PARENT_SCOPE)
    return()
  endif()
  find_program(ZQM_TRX_TRXCTL trxctl HINTS "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/../../../../bin"
    "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/../../../bin")
  if(NOT ZQM_TRX_TRXCTL)
    message(FATAL_ERROR "tests of tables need trxctl (package zqm-trx-tools)")
  endif()
  set(${variable} ${ZQM_TRX_TRXCTL} PARENT_SCOPE)
endfunction()

# zqm_trx_add_table_test(<name> <case file>...)
#
# Registers with ctest a test that runs the cases of the files with `trxctl test`.
function(zqm_trx_add_table_test name)
  if(NOT ARGN)
    message(FATAL_ERROR "zqm_trx_add_table_test(${name}): no case file is given")
  endif()
  zqm_trx_find_tool(tool)
  add_test(NAME ${name} COMMAND ${tool} test ${ARGN} WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
endfunction()

# zqm_trx_explore_tables(<name> <table file>... DENY <kind>... [ALLOW <kind=subject>...]
#   [RULES <case file>])
#
# Registers with ctest a test that fails when a run of the tables can do what DENY says, or breaks a
# rule of the case file, or when no run puts one of them to the test, by `trxctl explore`.
function(zqm_trx_explore_tables name)
  cmake_parse_arguments(arg "" "RULES" "DENY;ALLOW" ${ARGN})
  if(NOT arg_UNPARSED_ARGUMENTS OR NOT arg_DENY)
    message(FATAL_ERROR "zqm_trx_explore_tables(${name}): table files and DENY are needed")
  endif()
  zqm_trx_find_tool(tool)
  list(TRANSFORM arg_DENY PREPEND --deny=)
  list(TRANSFORM arg_ALLOW PREPEND --allow=)
  set(rules)
  if(arg_RULES)
    set(rules --rules=${arg_RULES} --strict)
  endif()
  add_test(NAME ${name} COMMAND ${tool} explore ${arg_UNPARSED_ARGUMENTS} ${arg_DENY} ${arg_ALLOW} ${rules}
    WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
endfunction()
