# SPDX-License-Identifier: Apache-2.0
# Headers that many files begin with are precompiled, each file includes what it needs all the same:
# nothing is precompiled with a compiler launcher such as ccache, which does that job and keeps no
# file that takes precompiled headers, and where CMAKE_DISABLE_PRECOMPILE_HEADERS is set.
if(CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_DISABLE_PRECOMPILE_HEADERS ON)
endif()
