# export_only_listed_names(TARGET FILE): the library shows the names in FILE, one a line, `*` for any
# rest, and nothing else, and binds them to itself.
function(export_only_listed_names target file)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  file(STRINGS ${file} names)
  list(JOIN names ";\n  " names)
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
  file(CONFIGURE OUTPUT ${script} CONTENT "{\nglobal:\n  ${names};\nlocal:\n  *;\n};\n")
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
  target_link_options(${target} PRIVATE
    -Wl,--version-script=${script} -Wl,-Bsymbolic)
  # The sanitizers' own symbols are supplied by the program that loads the library.
  if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    target_link_options(${target} PRIVATE -Wl,-z,defs)
  endif()
  # A unique symbol would keep the library in the process after it is unloaded.
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
endfunction()
