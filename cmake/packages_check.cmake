# SPDX-License-Identifier: Apache-2.0
# Run by CPack. Without these programs it would make packages that lack their dependencies.
foreach(program dpkg-shlibdeps file)
  find_program(${program}_found ${program})
  if(NOT ${program}_found)
    message(FATAL_ERROR "${program} is missing (Debian packages dpkg-dev and file)")
  endif()
endforeach()

# The time of all that is packed, so that it is the same from any build of the same commit.
if("$ENV{SOURCE_DATE_EPOCH}" STREQUAL "")
  execute_process(COMMAND git -C ${CMAKE_CURRENT_LIST_DIR} log -1 --format=%ct
    OUTPUT_VARIABLE epoch OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(NOT epoch)
    string(TIMESTAMP epoch "%s" UTC)
  endif()
  set(ENV{SOURCE_DATE_EPOCH} ${epoch})
endif()
