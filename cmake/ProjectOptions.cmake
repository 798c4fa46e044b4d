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

if(KV_SANITIZE)
  if(KV_SANITIZE STREQUAL "thread")
    set(_kv_san -fsanitize=thread)
  else()
    set(_kv_san -fsanitize=${KV_SANITIZE} -fno-sanitize-recover=all)
  endif()
  add_compile_options(${_kv_san} -fno-omit-frame-pointer -g)
  add_link_options(${_kv_san})
endif()
