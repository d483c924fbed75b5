include(cmake/ExportedNames.cmake)

# add_addin_library(TARGET FILE EXPORTS SOURCE...): the library FILE, which a host loads and which shows
# the names in the text file EXPORTS.
function(add_addin_library target file exports)
  add_library(${target} SHARED ${ARGN})
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ${file} PREFIX "" INSTALL_NAME_DIR @rpath BUILD_WITH_INSTALL_NAME_DIR ON
    MACHO_CURRENT_VERSION ${PROJECT_VERSION})
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${target} PUBLIC host_api PRIVATE host_libraries project_options)
  export_only_listed_names(${target} ${exports})
  # Code that nothing reaches is left out: a segment grows in steps of 16 KB.
  target_link_options(${target} PRIVATE $<$<PLATFORM_ID:Darwin>:LINKER:-dead_strip>)
  if(COMMAND check_exceptions)
    check_exceptions(${target})
  endif()
  if(CMAKE_SYSTEM_NAME STREQUAL "Darwin" AND CMAKE_STRIP AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
    # The host needs only the exported names. Tests that look inside need all names.
    add_custom_command(TARGET ${target} POST_BUILD
      COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:${target}> $<TARGET_FILE:${target}>.unstripped
      COMMAND ${CMAKE_STRIP} -x $<TARGET_FILE:${target}> VERBATIM)
  endif()
endfunction()
