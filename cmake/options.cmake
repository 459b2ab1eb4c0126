# options.cmake: how every target of the project is compiled and linked.

option(VELKANTRIX_TESTS "build the tests" ON)
option(VELKANTRIX_FUZZ "build the fuzzers (clang only)" OFF)
option(VELKANTRIX_BENCH "build the benchmarks" OFF)
option(VELKANTRIX_SEPARATE_SYMBOLS "strip programs and keep their symbols beside them" OFF)
option(VELKANTRIX_CLANG_TIDY "let clang-tidy read the code, as each folder's .clang-tidy says" OFF)
set(VELKANTRIX_SANITIZE "" CACHE STRING "value for -fsanitize=, empty for none")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_SCAN_FOR_MODULES OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_VERIFY_INTERFACE_HEADER_SETS ON)

# Flags of our own targets; third-party code is built without them.
add_library(velkantrix_options INTERFACE)
target_include_directories(velkantrix_options INTERFACE
  ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR}/generated)

if(MSVC)
  target_compile_options(velkantrix_options INTERFACE /W4 /WX /permissive- /utf-8 /EHsc)
else()
  target_compile_options(velkantrix_options INTERFACE
    -Wall -Wextra -Wconversion -Wshadow -Wnon-virtual-dtor -Werror
    -Wno-missing-field-initializers) # fields have their own initializers
endif()

if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  target_compile_options(velkantrix_options INTERFACE -Wthread-safety -Wthread-safety-beta)
endif()

if(WIN32)
  target_compile_definitions(velkantrix_options INTERFACE
    UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN WINVER=0x0A00 _WIN32_WINNT=0x0A00)
endif()

# mingw's runtime goes into the program: nothing but the operating system is needed to run it.
if(MINGW)
  add_compile_options(-ffunction-sections -fdata-sections)
  add_link_options(-static -Wl,--gc-sections
    -Wl,--dynamicbase -Wl,--nxcompat -Wl,--high-entropy-va)
endif()

# Only reading the code tells anything there, and clang can't link against GCC's libraries for Windows.
# clang-tidy gives clang's own warnings, too, in headers as errors because of -Werror; a folder's .clang-tidy
# says what else it looks for. What a file includes comes from the preprocessor.
if(VELKANTRIX_CLANG_TIDY)
  set(touch "<CMAKE_COMMAND> -E touch")
  set(words "<CMAKE_CXX_COMPILER> <DEFINES> <INCLUDES> <FLAGS>")
  set(CMAKE_CXX_COMPILE_OBJECT
    "${words} -E -o /dev/null <SOURCE>"
    "clang-tidy --quiet --extra-arg-before=--driver-mode=g++ <SOURCE> -- ${words}"
    "${touch} <OBJECT>")
  set(CMAKE_CXX_CREATE_STATIC_LIBRARY "${touch} <TARGET>")
  set(CMAKE_CXX_LINK_EXECUTABLE "${touch} <TARGET>")
endif()

if(VELKANTRIX_SANITIZE)
  add_compile_options(-fsanitize=${VELKANTRIX_SANITIZE} -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VELKANTRIX_SANITIZE})
endif()
