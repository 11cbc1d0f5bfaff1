# SPDX-License-Identifier: Apache-2.0
include_guard(GLOBAL)

# zqm_trx_add_hap_module(<stem> SOURCES <file>... [LIBRARIES <target>...])
#
# Builds the HAP module libzq_hap_<stem>.so, whose HAPs are called <STEM>_<Function>, as the target
# zq_hap_<stem>. Only the functions defined with ZQM_HAP() are visible outside it, and a symbol that
# nothing defines fails the link instead of the load. C sources get unwind tables, without which an
# exception that passes through a C function ends the process on 32-bit ARM.
function(zqm_trx_add_hap_module stem)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES" ${ARGN})
  if(NOT arg_SOURCES)
    message(FATAL_ERROR "zqm_trx_add_hap_module(${stem}): SOURCES is empty")
  endif()
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "zqm_trx_add_hap_module(${stem}): unknown: ${arg_UNPARSED_ARGUMENTS}")
  endif()

  set(target zq_hap_${stem})
  add_library(${target} MODULE ${arg_SOURCES})
  set_target_properties(${target} PROPERTIES
    PREFIX lib
    C_VISIBILITY_PRESET hidden
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  target_compile_features(${target} PRIVATE cxx_std_17)
  # A unique symbol would keep the module mapped for ever, so that a reload could not replace it.
  target_compile_options(${target} PRIVATE
    $<$<COMPILE_LANGUAGE:C>:-funwind-tables>
    $<$<COMPILE_LANGUAGE:C>:-fexceptions>
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fno-gnu-unique>)
  target_link_libraries(${target} PRIVATE zqm::trx ${arg_LIBRARIES})
  target_link_options(${target} PRIVATE LINKER:-z,defs LINKER:--as-needed)
endfunction()
