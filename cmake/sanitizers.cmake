# SPDX-License-Identifier: Apache-2.0
# ZQM_TRX_SANITIZE=address|thread|fuzzer builds everything below with that sanitizer, since a
# sanitizer must see every object of a process; fuzzer, for clang alone, is address with the
# counting of branches that libFuzzer goes by. None asks objects for their type information, which
# those of hosts need not have.
set(ZQM_TRX_SANITIZE "" CACHE STRING "Sanitizer to build with: address, thread, fuzzer or none")
set_property(CACHE ZQM_TRX_SANITIZE PROPERTY STRINGS "" address thread fuzzer)

if(ZQM_TRX_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(ZQM_TRX_SANITIZE STREQUAL "fuzzer")
  add_compile_options(-fsanitize=address,undefined,fuzzer-no-link -fno-sanitize=vptr -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(ZQM_TRX_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(ZQM_TRX_SANITIZE)
  message(FATAL_ERROR "ZQM_TRX_SANITIZE is '${ZQM_TRX_SANITIZE}': use address, thread, fuzzer or nothing")
endif()
