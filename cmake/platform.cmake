# SPDX-License-Identifier: Apache-2.0
# ZQM_TRX_PLATFORM says whose implementation of the platform interfaces the engine links: empty for
# the stand-in, a folder whose CMakeLists.txt defines the target kw::platform, or the name of a CMake
# package that does. What needs the stand-in itself, the tests, the tool and the demo rig, is built
# with it alone.
set(ZQM_TRX_PLATFORM "" CACHE STRING "Platform libraries: empty, a folder, or a CMake package")

if(ZQM_TRX_PLATFORM STREQUAL "")
  add_subdirectory(platform/standin)
else()
  set(ZQM_TRX_TESTS OFF)
  set(ZQM_TRX_EXAMPLES OFF)
  set(ZQM_TRX_TOOLS OFF)
  if(IS_DIRECTORY ${ZQM_TRX_PLATFORM})
    add_subdirectory(${ZQM_TRX_PLATFORM} ${CMAKE_BINARY_DIR}/platform)
  else()
    find_package(${ZQM_TRX_PLATFORM} REQUIRED)
  endif()
  if(NOT TARGET kw::platform)
    message(FATAL_ERROR "ZQM_TRX_PLATFORM: ${ZQM_TRX_PLATFORM} does not define kw::platform")
  endif()
endif()
