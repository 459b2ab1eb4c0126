# mingw-clang.cmake: clang for the same target, on mingw-w64's headers and libraries. It checks what GCC
# can't: lock annotations, and clang-tidy's list.
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
