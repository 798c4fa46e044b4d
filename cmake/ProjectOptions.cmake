# Compiler settings shared by every target the project builds.
#
# The lattice arithmetic is specified to the bit, so floating-point contraction
# (fused multiply-add) and fast-math reassociation must stay off everywhere,
# including host code that inlines our small vector types.

add_library(kv_project_options INTERFACE)
target_compile_options(kv_project_options INTERFACE -Wall -Wextra -Wpedantic)
if(KV_WERROR)
  target_compile_options(kv_project_options INTERFACE -Werror)
endif()

set(KV_FP_FLAGS -ffp-contract=off -fno-fast-math)

# KV_SANITIZE_FLAGS (a space-separated string) is what a program linking the
# sanitized library must be compiled and linked with; the install test
# hands it to its host project.
set(KV_SANITIZE_FLAGS "")
if(KV_SANITIZE)
  if(KV_SANITIZE STREQUAL "thread")
    set(_kv_san -fsanitize=thread)
  else()
    set(_kv_san -fsanitize=${KV_SANITIZE} -fno-sanitize-recover=all)
  endif()
  add_compile_options(${_kv_san} -fno-omit-frame-pointer -g)
  add_link_options(${_kv_san})
  list(JOIN _kv_san " " KV_SANITIZE_FLAGS)
endif()

# Reuse compiled objects across build directories when ccache is installed.
option(KV_USE_CCACHE "Compile through ccache when it is installed" ON)
if(KV_USE_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(KV_CCACHE ccache)
  if(KV_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${KV_CCACHE})
  endif()
endif()
