# SPDX-License-Identifier: Apache-2.0
include_guard(GLOBAL)
include(GoogleTest)

# zqm_trx_add_module_test(<target> SOURCES <file>... [MODULES <module target>...] [TABLES <file>...])
#
# Builds a test program with GoogleTest and the test kit, whose fixture ModuleTest loads the given
# HAP modules (targets of zqm_trx_add_hap_module, such as zq_hap_psu) and tables, and registers each
# of its tests with ctest, as a process of its own.
function(zqm_trx_add_module_test target)
  cmake_parse_arguments(arg "" "" "SOURCES;MODULES;TABLES" ${ARGN})
  if(NOT arg_SOURCES)
    message(FATAL_ERROR "zqm_trx_add_module_test(${target}): SOURCES is empty")
  endif()
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "zqm_trx_add_module_test(${target}): unknown: ${arg_UNPARSED_ARGUMENTS}")
  endif()

  set(modules "")
  foreach(module IN LISTS arg_MODULES)
    string(APPEND modules "R\"($<TARGET_FILE:${module}>)\", ")
  endforeach()
  set(tables "")
  foreach(table IN LISTS arg_TABLES)
    get_filename_component(file ${table} ABSOLUTE)
    string(APPEND tables "R\"(${file})\", ")
  endforeach()
  set(files ${CMAKE_CURRENT_BINARY_DIR}/${target}_files_$<CONFIG>.cc)
  file(GENERATE OUTPUT ${files} CONTENT "#include <string>
#include <vector>
namespace kw::trx::testing {
std::vector<std::string> moduleFiles() { return {${modules}}; }
std::vector<std::string> tableFiles() { return {${tables}}; }
}
")

  add_executable(${target} ${arg_SOURCES} ${files})
  target_link_libraries(${target} PRIVATE zqm::testkit GTest::gtest_main)
  if(arg_MODULES)
    add_dependencies(${target} ${arg_MODULES})
  endif()
  gtest_discover_tests(${target} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 240)
endfunction()
