# SPDX-License-Identifier: Apache-2.0
include_guard(GLOBAL)

# zqm_trx_add_testkit(<folder>)
#
# Adds the test kit, zqm::testkit, from its sources in the folder. It is compiled when something
# links it, with the GoogleTest found before.
function(zqm_trx_add_testkit folder)
  add_library(zqm_trx_testkit STATIC EXCLUDE_FROM_ALL
    ${folder}/engine_fixture.cc
    ${folder}/module_test.cc
    ${folder}/temp_dir.cc
    ${folder}/trace_capture.cc)
  add_library(zqm::testkit ALIAS zqm_trx_testkit)
  target_compile_features(zqm_trx_testkit PUBLIC cxx_std_17)
  target_include_directories(zqm_trx_testkit PRIVATE ${folder})
  target_link_libraries(zqm_trx_testkit PUBLIC zqm::trx GTest::gtest)
endfunction()
