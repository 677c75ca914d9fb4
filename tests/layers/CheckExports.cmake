cmake_minimum_required(VERSION 3.25)
# The shared library a host links exports the SDK and the platform API, all of it inside
# namespace veyrakit, and nothing of the test doubles or the simulator. Reads the mangled names of
# `nm -D --defined-only`: each must be in veyrakit (a member, its vtable, type info, guard
# variable or thunk), an instantiation of a standard library template, or a linker symbol.
#   cmake -DLIBRARY=<libveyrakit.so> -P CheckExports.cmake
execute_process(COMMAND nm -D --defined-only --format=posix ${LIBRARY} RESULT_VARIABLE result
                OUTPUT_VARIABLE listing)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "nm could not read ${LIBRARY}")
endif()
string(REGEX MATCHALL "[^\n]+" lines "${listing}")
set(special "(T[VTIS]|GV|GR|Th?n?[0-9]+_|Tvn?[0-9]+_n?[0-9]+_)?Z?")
set(nested "N[rVK]*[RO]?")
set(outside "")
set(leaked "")
set(host_api FALSE)
foreach(line ${lines})
  string(REGEX REPLACE " .*" "" symbol "${line}")
  # AddressSanitizer's one-definition-rule indicator of an exported global: the global's own name.
  string(REGEX REPLACE "^__odr_asan\\." "" symbol "${symbol}")
  if(symbol MATCHES "^_Z${special}${nested}8veyrakit")
    if(symbol MATCHES "(Simulat|Scenario|Stub|QMTest|Capture)")
      string(APPEND leaked "  ${symbol}\n")
    endif()
    if(symbol MATCHES "^_ZN8veyrakit10QMVeyraKit18pluginWithAVPlayer")
      set(host_api TRUE)
    endif()
  elseif(symbol MATCHES "^_Z${special}(${nested})?(St|S[absiod]|9__gnu_cxx)")
    # A standard template instantiated by the library (weak; the same in every module).
  elseif(symbol MATCHES "^_ZT[IS]P*F")
    # Type information of a function type (std::function's target_type), in no namespace.
  elseif(symbol MATCHES "^_(init|fini|edata|end|_bss_start)$")
  else()
    string(APPEND outside "  ${symbol}\n")
  endif()
endforeach()
if(outside)
  message(FATAL_ERROR "${LIBRARY} exports symbols outside namespace veyrakit:\n${outside}")
endif()
if(leaked)
  message(FATAL_ERROR "${LIBRARY} exports test or simulator code:\n${leaked}")
endif()
if(NOT DEFINED EXPECT_HOST_API OR EXPECT_HOST_API)
  if(NOT host_api)
    message(FATAL_ERROR "${LIBRARY} does not export the host API")
  endif()
endif()
