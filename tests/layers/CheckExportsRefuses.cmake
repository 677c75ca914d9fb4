cmake_minimum_required(VERSION 3.25)
# Runs the export check on a library that exports one symbol outside namespace veyrakit and
# expects it to fail, naming that symbol and only that one.
#   cmake -DPROBE=<libexport_probe.so> -DCHECK=<CheckExports.cmake> -P CheckExportsRefuses.cmake
execute_process(COMMAND ${CMAKE_COMMAND} -DLIBRARY=${PROBE} -DEXPECT_HOST_API=OFF -P ${CHECK}
                RESULT_VARIABLE result ERROR_VARIABLE output)
if(result EQUAL 0)
  message(FATAL_ERROR "the export check accepted a symbol outside the namespace")
endif()
if(NOT output MATCHES "_Z12probeOutsidev")
  message(FATAL_ERROR "the export check failed without naming the symbol:\n${output}")
endif()
if(output MATCHES "probeInside")
  message(FATAL_ERROR "the export check refused a symbol inside the namespace:\n${output}")
endif()
message(STATUS "refused: ${output}")
