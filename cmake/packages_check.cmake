# SPDX-License-Identifier: Apache-2.0
# Run by CPack. Without these programs it would make packages that lack their dependencies.
foreach(program dpkg-shlibdeps file)
  find_program(${program}_found ${program})
  if(NOT ${program}_found)
    message(FATAL_ERROR "${program} is missing (Debian packages dpkg-dev and file)")
  endif()
endforeach()
