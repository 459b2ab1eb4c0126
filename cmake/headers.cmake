# headers.cmake: headers of others that many files have, compiled once for all of them.
#
# Only for GCC: clang and Visual Studio have them from each file that names them, and so tell of one that
# doesn't.

# velkantrix_headers(NAME HEADERS <HEADER>... [LIBRARIES LIBRARY...]): what velkantrix_use_headers takes.
function(velkantrix_headers name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS;LIBRARIES")
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    return()
  endif()
  file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp CONTENT "")
  add_library(${name} OBJECT ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
  target_link_libraries(${name} PRIVATE velkantrix_options ${arg_LIBRARIES})
  target_precompile_headers(${name} PRIVATE ${arg_HEADERS})
endfunction()

function(velkantrix_use_headers target headers)
  if(NOT TARGET ${headers})
    return()
  endif()
  target_precompile_headers(${target} REUSE_FROM ${headers})
  if(MINGW)
    # Compiled once, its inline functions no longer count as the system's, of which GCC tells nothing.
    target_compile_options(${target} PRIVATE -Wno-array-bounds -Wno-stringop-overread)
  endif()
endfunction()

if(WIN32)
  velkantrix_headers(windows_headers HEADERS
    <algorithm> <chrono> <cmath> <functional> <memory> <optional> <string> <vector>
    <windows.h> <mfapi.h> <mferror.h> <mfidl.h> <mfreadwrite.h>)
endif()
