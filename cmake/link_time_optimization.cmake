# SPDX-License-Identifier: Apache-2.0
# Optimises a library as a whole in optimised builds without sanitizers: a request passes a dozen
# small functions in as many files.
include(CheckIPOSupported)
check_ipo_supported(RESULT zqm_trx_has_ipo OUTPUT ignored LANGUAGES CXX)

function(zqm_trx_optimize_as_a_whole target)
  if(zqm_trx_has_ipo AND NOT ZQM_TRX_SANITIZE)
    set_target_properties(${target} PROPERTIES
      INTERPROCEDURAL_OPTIMIZATION_RELEASE ON
      INTERPROCEDURAL_OPTIMIZATION_RELWITHDEBINFO ON)
  endif()
endfunction()
