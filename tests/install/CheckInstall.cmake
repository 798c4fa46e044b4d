# Run by CTest with cmake -P. Installs the build KV_BUILD_DIR into a fresh
# prefix under KV_WORK_DIR, then configures, builds and runs the consumer
# project KV_CONSUMER_SOURCE against it (every installed header compiled
# alone, every exported class reached); finally compiles the same program
# with the flags that pkg-config reports, when pkg-config is available.

function(kv_run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${what} failed (${result}):\n${out}\n${err}")
  endif()
  message(STATUS "${what}: ok")
  set(kv_last_output "${out}" PARENT_SCOPE)
endfunction()

set(prefix ${KV_WORK_DIR}/prefix)
set(consumer_build ${KV_WORK_DIR}/consumer-build)
file(REMOVE_RECURSE ${KV_WORK_DIR})
file(MAKE_DIRECTORY ${KV_WORK_DIR})

kv_run("install into ${prefix}" ${CMAKE_COMMAND} --install ${KV_BUILD_DIR} --prefix ${prefix})

# Only the public interface is installed, and the umbrella header brings in
# all of it.
set(include_dir ${prefix}/include)
file(GLOB_RECURSE installed RELATIVE ${include_dir} ${include_dir}/*)
file(READ ${include_dir}/kv_fluids_dyn/kv_fluids_dyn.h umbrella)
foreach(header IN LISTS installed)
  if(header MATCHES "/(internal|detail)/")
    message(FATAL_ERROR "an internal header was installed: ${header}")
  endif()
  if(NOT header STREQUAL "kv_fluids_dyn/kv_fluids_dyn.h" AND NOT umbrella MATCHES "#include \"${header}\"")
    message(FATAL_ERROR "kv_fluids_dyn.h does not include the installed header ${header}")
  endif()
endforeach()

set(configure_args -S ${KV_CONSUMER_SOURCE} -B ${consumer_build} -G ${KV_GENERATOR}
  -DCMAKE_BUILD_TYPE=Release
  -DCMAKE_PREFIX_PATH=${prefix}
  -DCMAKE_CXX_COMPILER=${KV_CXX_COMPILER}
  "-DCMAKE_CXX_FLAGS=${KV_SANITIZE_FLAGS}"
  "-DCMAKE_EXE_LINKER_FLAGS=${KV_SANITIZE_FLAGS}")
if(KV_CXX_LAUNCHER)
  list(APPEND configure_args -DCMAKE_CXX_COMPILER_LAUNCHER=${KV_CXX_LAUNCHER})
endif()
kv_run("configure consumer" ${CMAKE_COMMAND} ${configure_args})
kv_run("build consumer" ${CMAKE_COMMAND} --build ${consumer_build})
kv_run("run consumer" ${consumer_build}/kv_consumer)

if(NOT KV_PKG_CONFIG)
  message(STATUS "pkg-config not found: pkg-config file not checked")
  return()
endif()

file(GLOB_RECURSE pc_files ${prefix}/*/kv_fluids_dyn.pc)
list(LENGTH pc_files pc_count)
if(NOT pc_count EQUAL 1)
  message(FATAL_ERROR "expected one installed kv_fluids_dyn.pc, found: ${pc_files}")
endif()
get_filename_component(pc_dir ${pc_files} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
kv_run("pkg-config" ${KV_PKG_CONFIG} --cflags --libs kv_fluids_dyn)
string(STRIP "${kv_last_output}" pc_flags)
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
separate_arguments(san_flags UNIX_COMMAND "${KV_SANITIZE_FLAGS}")
get_filename_component(libdir ${pc_dir} DIRECTORY)
kv_run("compile with pkg-config flags" ${KV_CXX_COMPILER} ${san_flags} ${KV_CONSUMER_SOURCE}/main.cpp
  ${pc_flags} -Wl,-rpath,${libdir} -o ${KV_WORK_DIR}/kv_consumer_pc)
kv_run("run pkg-config consumer" ${KV_WORK_DIR}/kv_consumer_pc)
