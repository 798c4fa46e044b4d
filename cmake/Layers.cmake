# Layers of the library and the include rule the build enforces.
#
# Every folder of lib/ is one layer: a CMake target that compiles the
# folder's sources and may include only its own headers and those of the
# layers it declares, directly or through them. A layer is not compiled
# against lib/ itself but against a staged include root of its own that holds
# links to just those folders, so an include of a layer above (lattice/
# reaching into solver/, say) fails to compile with "No such file".
#
#   kv_add_layer(<target> DIR <folder under lib/> [DEPENDS <layer>...]
#                [PUBLIC_HEADERS <file>...] [SOURCES <file>...])
#
# Layers must be declared lowest first. Files are relative to the folder of
# the CMakeLists.txt that declares the layer. A layer without sources only
# lends its headers to the layers above it.
#
# PUBLIC_HEADERS are the layer's interface for hosts: exactly these headers
# are installed. Every other header of a layer lives in a subfolder
# (internal/, or detail/ in kv_geometry) and is seen by the library and its
# tests only; kv_check_public_headers() fails the configuration when a
# header in a layer's folder is neither listed nor in such a subfolder.
#
# The shared library and the static library that the tests link are made of
# the objects of every layer (kv_layer_objects()); both are compiled against
# the whole of lib/, as hosts are.

set(KV_LAYER_ROOTS ${PROJECT_BINARY_DIR}/layers)

function(kv_add_layer name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "DIR" "DEPENDS;PUBLIC_HEADERS;SOURCES")
  if(NOT arg_DIR)
    message(FATAL_ERROR "kv_add_layer(${name}): DIR is required")
  endif()

  # The folders this layer may include: its own and its dependencies', closed.
  set(dirs ${arg_DIR})
  foreach(dependency IN LISTS arg_DEPENDS)
    get_property(known GLOBAL PROPERTY KV_LAYER_${dependency}_DIRS SET)
    if(NOT known)
      message(FATAL_ERROR "kv_add_layer(${name}): layer '${dependency}' is not declared (yet)")
    endif()
    get_property(dependency_dirs GLOBAL PROPERTY KV_LAYER_${dependency}_DIRS)
    list(APPEND dirs ${dependency_dirs})
  endforeach()
  list(REMOVE_DUPLICATES dirs)
  set_property(GLOBAL PROPERTY KV_LAYER_${name}_DIRS ${dirs})

  set(root ${KV_LAYER_ROOTS}/${name})
  file(REMOVE_RECURSE ${root})
  foreach(dir IN LISTS dirs)
    get_filename_component(parent ${root}/${dir} DIRECTORY)
    file(MAKE_DIRECTORY ${parent})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/lib/${dir} ${root}/${dir} SYMBOLIC)
  endforeach()
  set_property(GLOBAL PROPERTY KV_LAYER_${name}_ROOT ${root})
  set_property(GLOBAL APPEND PROPERTY KV_LAYER_DIRS ${arg_DIR})
  foreach(header IN LISTS arg_PUBLIC_HEADERS)
    set_property(GLOBAL APPEND PROPERTY KV_PUBLIC_HEADERS ${CMAKE_CURRENT_SOURCE_DIR}/${header})
  endforeach()

  if(NOT arg_SOURCES)
    return()
  endif()
  add_library(${name} OBJECT ${arg_SOURCES})
  set_target_properties(${name} PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  target_include_directories(${name} PRIVATE ${root})
  target_compile_definitions(${name} PRIVATE KV_BUILDING_LIBRARY)
  target_compile_options(${name} PRIVATE ${KV_FP_FLAGS})
  target_link_libraries(${name} PRIVATE Threads::Threads kv_project_options)
  set_property(GLOBAL APPEND PROPERTY KV_LAYER_TARGETS ${name})
endfunction()

# The object files of every layer that has sources, in declaration order.
function(kv_layer_objects out)
  get_property(targets GLOBAL PROPERTY KV_LAYER_TARGETS)
  set(objects "")
  foreach(target IN LISTS targets)
    list(APPEND objects $<TARGET_OBJECTS:${target}>)
  endforeach()
  set(${out} ${objects} PARENT_SCOPE)
endfunction()

# The staged include root of a layer (used by the build's own layering test).
function(kv_layer_root name out)
  get_property(root GLOBAL PROPERTY KV_LAYER_${name}_ROOT)
  set(${out} ${root} PARENT_SCOPE)
endfunction()

# Fails the configuration when a header stands at the top of a layer's folder
# without being declared public: internals belong in a subfolder.
function(kv_check_public_headers)
  get_property(dirs GLOBAL PROPERTY KV_LAYER_DIRS)
  get_property(public GLOBAL PROPERTY KV_PUBLIC_HEADERS)
  list(REMOVE_DUPLICATES dirs)
  foreach(dir IN LISTS dirs)
    file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/lib/${dir}/*.h)
    foreach(header IN LISTS headers)
      if(NOT header IN_LIST public)
        message(FATAL_ERROR "${header} is not declared public (PUBLIC_HEADERS) and not in an internal folder")
      endif()
    endforeach()
  endforeach()
  foreach(header IN LISTS public)
    if(NOT EXISTS ${header})
      message(FATAL_ERROR "public header ${header} does not exist")
    endif()
  endforeach()
endfunction()
