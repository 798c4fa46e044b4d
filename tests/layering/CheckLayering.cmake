# Run by CTest with cmake -P: compiles one source that stays within the
# lattice layer (must succeed) and one that reaches up into the solver (must
# fail because the header cannot be found), both against the lattice layer's
# staged include root.

function(kv_compile source out_result out_error)
  execute_process(COMMAND ${KV_CXX_COMPILER} -std=c++20 -fsyntax-only -I${KV_LAYER_ROOT} ${source}
    RESULT_VARIABLE result ERROR_VARIABLE error)
  set(${out_result} ${result} PARENT_SCOPE)
  set(${out_error} "${error}" PARENT_SCOPE)
endfunction()

kv_compile(${KV_ALLOWED_SOURCE} result error)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "an include within the lattice layer failed:\n${error}")
endif()

kv_compile(${KV_UPWARD_SOURCE} result error)
if(result EQUAL 0)
  message(FATAL_ERROR "the lattice layer could include a solver header")
endif()
if(NOT error MATCHES "kv_fluids_dyn/solver/MAC_LBM_Solver3.h: No such file")
  message(FATAL_ERROR "the upward include failed for another reason:\n${error}")
endif()
