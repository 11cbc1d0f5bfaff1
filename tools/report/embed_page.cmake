# SPDX-License-Identifier: Apache-2.0
# Writes the page of a report as bytes for C++: page_before.inc and page_behind.inc in OUTPUT, of
# report.html, report.css and the scripts in PAGE. A script or style that does not stand in these files
# is not allowed in the page: its head names their hashes.
#
# cmake -DPAGE=<folder> -DOUTPUT=<folder> -P embed_page.cmake

# Sets `result` to the digits of `text`, two a byte.
function(hex_of text result)
  file(WRITE ${OUTPUT}/marker.txt "${text}")
  file(READ ${OUTPUT}/marker.txt digits HEX)
  set(${result} ${digits} PARENT_SCOPE)
endfunction()

# Sets `result` to the hash of a file as the rules for contents of pages write it: base 64.
function(hash_of file result)
  set(alphabet ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
  file(SHA256 ${file} digits)
  string(APPEND digits 00)  # 32 bytes and one more: eleven times three
  set(text)
  foreach(at RANGE 0 60 6)
    string(SUBSTRING ${digits} ${at} 6 part)
    foreach(shift 18 12 6 0)
      math(EXPR place "(0x${part} >> ${shift}) & 63")
      string(SUBSTRING ${alphabet} ${place} 1 letter)
      string(APPEND text ${letter})
    endforeach()
  endforeach()
  string(REGEX REPLACE ".$" "=" text ${text})
  set(${result} "sha256-${text}" PARENT_SCOPE)
endfunction()

function(write_bytes digits file)
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${digits}")
  string(REGEX REPLACE "(................................................................................)" "\\1\n" bytes "${bytes}")
  file(WRITE ${OUTPUT}/${file} "${bytes}\n")
endfunction()

file(READ ${PAGE}/report.html page HEX)
foreach(kind css js)
  file(GLOB files ${PAGE}/*.${kind})
  list(SORT files)
  execute_process(COMMAND ${CMAKE_COMMAND} -E cat ${files}
    OUTPUT_FILE ${OUTPUT}/page.${kind} COMMAND_ERROR_IS_FATAL ANY)
  file(READ ${OUTPUT}/page.${kind} content HEX)
  hash_of(${OUTPUT}/page.${kind} hash)
  hex_of("${hash}" hash)
  hex_of("@${kind}_hash@" marker)
  string(REPLACE "${marker}" "${hash}" page "${page}")
  hex_of("@${kind}@" marker)
  string(REPLACE "${marker}" "${content}" page "${page}")
endforeach()
hex_of("@report@" marker)
string(FIND ${page} ${marker} at)
string(SUBSTRING ${page} 0 ${at} before)
string(LENGTH ${marker} length)
math(EXPR behind_at "${at} + ${length}")
string(SUBSTRING ${page} ${behind_at} -1 behind)
write_bytes(${before} page_before.inc)
write_bytes(${behind} page_behind.inc)
file(REMOVE ${OUTPUT}/marker.txt)
