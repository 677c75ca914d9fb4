# Layers of the library. Each layer is a folder (or a few) under src/ and its own target, which
# links only the layers below it; a layer's sources may include only its own headers and those
# of the layers it names as BELOW (public headers under include/ belong to the layer that
# defines them). veyrakit_layer_check() adds a build step that refuses an upward #include.
#
#   veyrakit_layer(<name> DIRS <folders under src/> [HEADERS <public headers under include/>]
#                  [BELOW <lower layers>] [STATIC] SOURCES <sources>)
#
# A layer is an object library (its objects go into the shared library and the static archives)
# unless STATIC: then it is a static library of its own, outside the shared library.

set(VEYRAKIT_LAYER_MANIFEST ${PROJECT_BINARY_DIR}/veyrakit-layers.txt)
file(WRITE ${VEYRAKIT_LAYER_MANIFEST} "")

function(veyrakit_layer name)
  cmake_parse_arguments(PARSE_ARGV 1 LAYER "STATIC" "" "DIRS;HEADERS;BELOW;SOURCES")
  set(target veyrakit_${name})
  if(LAYER_STATIC)
    add_library(${target} STATIC ${LAYER_SOURCES})
  else()
    add_library(${target} OBJECT ${LAYER_SOURCES})
    # Object libraries pass on only usage requirements here, never their objects.
    foreach(below ${LAYER_BELOW})
      target_link_libraries(${target} PUBLIC veyrakit_${below})
    endforeach()
  endif()
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>)
  target_compile_definitions(${target} PRIVATE VEYRAKIT_BUILDING)
  set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_link_libraries(${target} PRIVATE veyrakit_warnings)

  # What this layer may include: its own folders and headers, and those of the layers below.
  set(allowed_dirs ${LAYER_DIRS})
  set(allowed_headers ${LAYER_HEADERS})
  foreach(below ${LAYER_BELOW})
    get_property(dirs GLOBAL PROPERTY VEYRAKIT_LAYER_DIRS_${below})
    get_property(headers GLOBAL PROPERTY VEYRAKIT_LAYER_HEADERS_${below})
    if(NOT dirs)
      message(FATAL_ERROR "Layer ${name}: BELOW names '${below}', which is not a layer defined before it")
    endif()
    list(APPEND allowed_dirs ${dirs})
    list(APPEND allowed_headers ${headers})
  endforeach()
  set_property(GLOBAL PROPERTY VEYRAKIT_LAYER_DIRS_${name} ${LAYER_DIRS})
  set_property(GLOBAL PROPERTY VEYRAKIT_LAYER_HEADERS_${name} ${LAYER_HEADERS})
  string(REPLACE ";" "," dirs "${LAYER_DIRS}")
  string(REPLACE ";" "," headers "${LAYER_HEADERS}")
  string(REPLACE ";" "," allowed_dirs "${allowed_dirs}")
  string(REPLACE ";" "," allowed_headers "${allowed_headers}")
  file(APPEND ${VEYRAKIT_LAYER_MANIFEST} "${name}|${dirs}|${headers}|${allowed_dirs}|${allowed_headers}\n")
  set_property(GLOBAL APPEND PROPERTY VEYRAKIT_LAYER_NAMES ${name})
endfunction()

# The layer check runs before any layer compiles, and again whenever a source or header changes.
function(veyrakit_layer_check)
  file(GLOB_RECURSE watched CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/*.h ${PROJECT_SOURCE_DIR}/src/*.cpp
       ${PROJECT_SOURCE_DIR}/include/*.h)
  set(stamp ${PROJECT_BINARY_DIR}/veyrakit-layers.stamp)
  add_custom_command(
    OUTPUT ${stamp}
    COMMAND ${CMAKE_COMMAND} -DROOT=${PROJECT_SOURCE_DIR} -DMANIFEST=${VEYRAKIT_LAYER_MANIFEST}
            -P ${PROJECT_SOURCE_DIR}/cmake/CheckLayers.cmake
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${watched} ${VEYRAKIT_LAYER_MANIFEST} ${PROJECT_SOURCE_DIR}/cmake/CheckLayers.cmake
    COMMENT "Checking that every #include points down the layers"
    VERBATIM)
  add_custom_target(veyrakit_layer_check ALL DEPENDS ${stamp})
  get_property(layers GLOBAL PROPERTY VEYRAKIT_LAYER_NAMES)
  foreach(layer ${layers})
    add_dependencies(veyrakit_${layer} veyrakit_layer_check)
  endforeach()
endfunction()
