# SPDX-License-Identifier: Apache-2.0
# Fails when what LIBRARY imports, other than from the libraries of the system, differs from the lines
# of the file KEPT that are no comments. Constness counts for nothing: the platform promises none.
execute_process(COMMAND ${NM} -D --undefined-only -C ${LIBRARY}
  OUTPUT_VARIABLE output RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${NM} cannot read ${LIBRARY}")
endif()
string(REGEX REPLACE "\n$" "" output "${output}")
string(REPLACE ";" "\\;" output "${output}")
string(REPLACE "[abi:cxx11]" "" output "${output}")
string(REPLACE "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >"
  "std::string" output "${output}")
string(REPLACE "\n" ";" lines "${output}")
set(symbols "")
foreach(line IN LISTS lines)
  string(REGEX REPLACE "^ *[A-Za-z] " "" symbol "${line}")
  string(REGEX REPLACE " const$" "" symbol "${symbol}")
  # Those of the system have versions, begin with an underscore, or are types of the standard library.
  if(NOT symbol MATCHES "@|^_|for std::")
    list(APPEND symbols "${symbol}")
  endif()
endforeach()
list(SORT symbols)
list(JOIN symbols "\n" text)
file(STRINGS ${KEPT} kept REGEX "^[^#]")
list(SORT kept)
list(JOIN kept "\n" kept_text)
if(NOT text STREQUAL kept_text)
  message(FATAL_ERROR "the imported symbols differ from ${KEPT}; they are\n${text}")
endif()
