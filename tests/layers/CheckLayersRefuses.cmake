# Builds a two-layer tree in which the lower layer includes the upper one, runs the layer check on
cmake_minimum_required(VERSION 3.25)
# it and expects the check to fail, naming the file, its layer and the include.
file(REMOVE_RECURSE ${WORK})
file(WRITE ${WORK}/src/low/QMLow.h "#pragma once\n#include \"platform/QMObject.h\"\n")
file(WRITE ${WORK}/src/low/QMLow.cpp "#include \"low/QMLow.h\"\n#include \"high/QMHigh.h\"\n")
file(WRITE ${WORK}/src/high/QMHigh.h "#pragma once\n#include \"low/QMLow.h\"\n")
file(WRITE ${WORK}/layers.txt "platform|platform|||\nlow|low||platform,low|\nhigh|high||platform,low,high|\n")
file(WRITE ${WORK}/src/platform/QMObject.h "#pragma once\n")
execute_process(COMMAND ${CMAKE_COMMAND} -DROOT=${WORK} -DMANIFEST=${WORK}/layers.txt
                        -P ${ROOT}/cmake/CheckLayers.cmake
                RESULT_VARIABLE result ERROR_VARIABLE output)
if(result EQUAL 0)
  message(FATAL_ERROR "the layer check accepted an upward include")
endif()
if(NOT output MATCHES "src/low/QMLow.cpp \\(layer low\\) includes \"high/QMHigh.h\"")
  message(FATAL_ERROR "the layer check failed without naming the upward include:\n${output}")
endif()
if(output MATCHES "QMHigh.h \\(layer high\\)")
  message(FATAL_ERROR "the layer check refused a downward include:\n${output}")
endif()
message(STATUS "refused: ${output}")
