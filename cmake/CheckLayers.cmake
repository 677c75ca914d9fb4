# Refuses an upward #include: every quoted include in a layer's sources and public headers must
# name a header of that layer or of a layer below it. Run by the build (see VeyraKitLayers.cmake):
#   cmake -DROOT=<source tree> -DMANIFEST=<veyrakit-layers.txt> -P CheckLayers.cmake
# Each manifest line: name|own folders|own public headers|allowed folders|allowed public headers.

cmake_minimum_required(VERSION 3.25)

file(STRINGS ${MANIFEST} layers)
set(violations "")
foreach(line ${layers})
  if(NOT line MATCHES "^([^|]*)\\|([^|]*)\\|([^|]*)\\|([^|]*)\\|([^|]*)$")
    message(FATAL_ERROR "Malformed layer manifest line: ${line}")
  endif()
  set(name ${CMAKE_MATCH_1})
  set(dirs ${CMAKE_MATCH_2})
  set(headers ${CMAKE_MATCH_3})
  set(allowed_dirs ${CMAKE_MATCH_4})
  set(allowed_headers ${CMAKE_MATCH_5})
  string(REPLACE "," ";" dirs "${dirs}")
  string(REPLACE "," ";" headers "${headers}")
  string(REPLACE "," ";" allowed_dirs "${allowed_dirs}")
  string(REPLACE "," ";" allowed_headers "${allowed_headers}")

  set(files "")
  foreach(dir ${dirs})
    # A layer's folder may hold sources under src/ and public headers under include/.
    file(GLOB found ${ROOT}/src/${dir}/*.h ${ROOT}/src/${dir}/*.cpp ${ROOT}/include/${dir}/*.h)
    list(APPEND files ${found})
  endforeach()
  foreach(header ${headers})
    list(APPEND files ${ROOT}/include/${header})
  endforeach()

  foreach(file ${files})
    file(STRINGS ${file} includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
    foreach(include ${includes})
      string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*\"([^\"]*)\".*" "\\1" path "${include}")
      get_filename_component(folder "${path}" DIRECTORY)
      if(folder IN_LIST allowed_dirs OR path IN_LIST allowed_headers)
        continue()
      endif()
      file(RELATIVE_PATH shown ${ROOT} ${file})
      string(APPEND violations "  ${shown} (layer ${name}) includes \"${path}\"\n")
    endforeach()
  endforeach()
endforeach()

if(violations)
  message(FATAL_ERROR "Upward or unknown includes: a layer may include only itself and the layers "
                      "below it (docs/architecture.md):\n${violations}")
endif()
