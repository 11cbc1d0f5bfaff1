# SPDX-License-Identifier: Apache-2.0
# Hardens what is built here as Debian hardens its packages, and makes it the same byte for byte in
# whatever folder it is built. ZQM_TRX_HARDENING=OFF leaves both to the flags of a distribution.
# Every target links the warnings, and gets the flags by them.
include(CheckCXXCompilerFlag)
option(ZQM_TRX_HARDENING "Harden libraries and programs" ON)

# Search paths of the build folder, which remain as unused bytes of installed files.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

set(zqm_trx_hardening "")
# A sanitizer has checks of its own, and instruments what these flags would change.
if(ZQM_TRX_HARDENING AND NOT ZQM_TRX_SANITIZE)
  set(flags -fstack-protector-strong -fstack-clash-protection)
  # Of other processors some compilers take such a flag, and say that it does nothing.
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
    list(APPEND flags -fcf-protection)
  elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    list(APPEND flags -mbranch-protection=standard)
  endif()
  foreach(flag ${flags})
    string(MAKE_C_IDENTIFIER "zqm_trx_has${flag}" has_flag)
    check_cxx_compiler_flag(${flag} ${has_flag})
    if(${has_flag})
      list(APPEND zqm_trx_hardening ${flag})
    endif()
  endforeach()
  # All symbols are bound at the start, so calls of other libraries need no procedure linkage table.
  # That saves more instructions than the marks of -fcf-protection cost.
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
    list(APPEND zqm_trx_hardening -fno-plt)
  endif()
endif()

add_library(zqm_trx_hardening INTERFACE)
if(ZQM_TRX_HARDENING AND NOT ZQM_TRX_SANITIZE)
  set(is_program $<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>)
  set(is_of_program $<AND:$<IN_LIST:$<TARGET_PROPERTY:TYPE>,EXECUTABLE$<SEMICOLON>STATIC_LIBRARY>,$<NOT:$<BOOL:$<TARGET_PROPERTY:POSITION_INDEPENDENT_CODE>>>>)
  # FORTIFY needs the optimiser, which tests do without. Paths of sources stay where they are debugged.
  target_compile_options(zqm_trx_hardening INTERFACE
    ${zqm_trx_hardening}
    $<${is_of_program}:-fPIE>
    $<$<CONFIG:Release,MinSizeRel>:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=2>
    $<$<CONFIG:Release,MinSizeRel>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>)
  target_link_options(zqm_trx_hardening INTERFACE
    $<${is_program}:-pie> LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
endif()
target_link_libraries(zqm_trx_warnings INTERFACE zqm_trx_hardening)
