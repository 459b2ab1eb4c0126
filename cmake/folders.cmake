# folders.cmake: one library per folder, or two: NAME_core, portable, and NAME_win, for Windows only.
#
# Every file of a folder is named in exactly one library. The names are written to a list, from which
# the include check learns which file may include what; therefore Windows files are named in native
# builds too, although they aren't compiled there.

function(velkantrix_list_file side file)
  set_property(GLOBAL APPEND PROPERTY VELKANTRIX_FOLDER_LIST
    "${side} ${CMAKE_CURRENT_SOURCE_DIR}/${file}")
endfunction()

# velkantrix_library(NAME SIDE core|windows FILES FILE... [TWINS UNIT...] [LIBRARIES LIBRARY...])
# Of a twin UNIT, UNIT_win.cpp is compiled for Windows and UNIT_posix.cpp for other systems.
function(velkantrix_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "SIDE" "FILES;TWINS;LIBRARIES")
  foreach(file IN LISTS arg_FILES)
    velkantrix_list_file(${arg_SIDE} ${file})
  endforeach()
  set(twin posix)
  if(WIN32)
    set(twin win)
  endif()
  foreach(unit IN LISTS arg_TWINS)
    velkantrix_list_file(windows ${unit}_win.cpp)
    velkantrix_list_file(posix ${unit}_posix.cpp)
    list(APPEND arg_FILES ${unit}_${twin}.cpp)
  endforeach()
  if(arg_SIDE STREQUAL windows AND NOT WIN32)
    return()
  endif()

  set(headers ${arg_FILES})
  set(sources ${arg_FILES})
  list(FILTER headers INCLUDE REGEX "\\.h$")
  list(FILTER sources INCLUDE REGEX "\\.cpp$")
  if(sources)
    add_library(${name} STATIC ${sources})
    target_link_libraries(${name} PUBLIC velkantrix_options ${arg_LIBRARIES})
    if(arg_SIDE STREQUAL windows)
      velkantrix_use_headers(${name} windows_headers)
    endif()
    set(scope PUBLIC)
  else()
    add_library(${name} INTERFACE)
    target_link_libraries(${name} INTERFACE velkantrix_options ${arg_LIBRARIES})
    set(scope INTERFACE)
  endif()
  # As a header set, each header is also compiled on its own (all_verify_interface_header_sets).
  target_sources(${name} ${scope} FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${headers})
endfunction()

# velkantrix_program(NAME DESCRIPTION TEXT FILES FILE... LIBRARIES LIBRARY... [WINDOW] [ICON FILE]
# [MANIFEST FILE]): a Windows program with the project's version. A console program that begins at
# wmain or, with WINDOW, one that begins at wWinMain.
function(velkantrix_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "WINDOW" "DESCRIPTION;ICON;MANIFEST" "FILES;LIBRARIES")
  if(NOT arg_MANIFEST)
    set(arg_MANIFEST ${PROJECT_SOURCE_DIR}/cmake/program.manifest)
  endif()
  set(icon_line "")
  if(arg_ICON)
    set(icon_line "1 ICON \"${arg_ICON}\"")
  endif()
  set(resource ${CMAKE_CURRENT_BINARY_DIR}/${name}.rc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/program.rc.in ${resource} @ONLY)
  set_source_files_properties(${resource} PROPERTIES OBJECT_DEPENDS "${arg_MANIFEST};${arg_ICON}")
  list(APPEND arg_FILES ${resource})
  add_executable(${name} ${arg_FILES})
  if(arg_WINDOW)
    set_target_properties(${name} PROPERTIES WIN32_EXECUTABLE ON)
  endif()
  target_link_libraries(${name} PRIVATE velkantrix_options ${arg_LIBRARIES})
  if(MINGW)
    target_link_options(${name} PRIVATE -municode)
  elseif(MSVC)
    target_link_options(${name} PRIVATE /MANIFEST:NO) # it has its own
  endif()
  if(VELKANTRIX_SEPARATE_SYMBOLS)
    add_custom_command(TARGET ${name} POST_BUILD
      COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${name}> $<TARGET_FILE:${name}>.debug
      COMMAND ${CMAKE_STRIP} --strip-all $<TARGET_FILE:${name}>
      COMMAND ${CMAKE_OBJCOPY} --add-gnu-debuglink=$<TARGET_FILE:${name}>.debug
        $<TARGET_FILE:${name}>
      VERBATIM)
  endif()
endfunction()

function(velkantrix_write_folder_list path)
  get_property(lines GLOBAL PROPERTY VELKANTRIX_FOLDER_LIST)
  list(JOIN lines "\n" text)
  file(WRITE ${path} "${text}\n")
endfunction()
