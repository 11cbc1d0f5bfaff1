# SPDX-License-Identifier: Apache-2.0
# Optimises a library as a whole in optimised builds without sanitizers: a request passes a dozen
# small functions in as many files.
#
# Not on 32-bit ARM: there the compiler ends the cleanups of a library optimised as a whole with
# _Unwind_Resume, as in C, where C++ needs __cxa_end_cleanup. A second exception during a cleanup,
# the end of a thread inside a HAP and a cancelled load then abort the process.
include(CheckIPOSupported)
check_ipo_supported(RESULT zqm_trx_has_ipo OUTPUT ignored LANGUAGES CXX)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
  set(zqm_trx_has_ipo FALSE)
endif()

function(zqm_trx_optimize_as_a_whole target)
  if(zqm_trx_has_ipo AND NOT ZQM_TRX_SANITIZE)
    set_target_properties(${target} PROPERTIES
      INTERPROCEDURAL_OPTIMIZATION_RELEASE ON
      INTERPROCEDURAL_OPTIMIZATION_RELWITHDEBINFO ON)
  endif()
endfunction()
