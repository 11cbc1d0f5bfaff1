# SPDX-License-Identifier: Apache-2.0
# Toolchain of the device: 32-bit ARM Linux, hard float, with Debian's cross compiler. Programs of
# the build run under user-mode emulation. The tool is built when scripts/armhf_root.sh has unpacked
# the libraries that it needs.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf)

get_filename_component(armhf_root ${CMAKE_CURRENT_LIST_DIR}/../build/armhf-root ABSOLUTE)
if(EXISTS ${armhf_root}/packages)
  list(APPEND CMAKE_FIND_ROOT_PATH ${armhf_root})
  set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-arm;-L;${armhf_root}")
  # Libraries that libraries need.
  add_link_options(LINKER:-rpath-link,${armhf_root}/lib/${CMAKE_LIBRARY_ARCHITECTURE})
else()
  set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-arm;-L;/usr/arm-linux-gnueabihf")
  set(ZQM_TRX_TOOLS OFF)
endif()

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
