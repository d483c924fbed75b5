# export_only_listed_names(TARGET FILE): the library TARGET exports the names in FILE and no others, and
# binds them to itself. FILE has one name a line; `*` stands for any end of a name.
function(export_only_listed_names target file)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  file(STRINGS ${file} names)
  set(list ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${list})
  if(CMAKE_SYSTEM_NAME STREQUAL "Darwin")
    # On macOS each name has a leading underscore, and a library binds its names to itself anyway.
    list(TRANSFORM names PREPEND _)
    list(JOIN names "\n" names)
    file(CONFIGURE OUTPUT ${list} CONTENT "${names}\n")
    target_link_options(${target} PRIVATE LINKER:-exported_symbols_list,${list})
    return()
  endif()
  list(JOIN names ";\n  " names)
  file(CONFIGURE OUTPUT ${list} CONTENT "{\nglobal:\n  ${names};\nlocal:\n  *;\n};\n")
  target_link_options(${target} PRIVATE
    -Wl,--version-script=${list} -Wl,-Bsymbolic)
  # The sanitizers' own symbols are supplied by the program that loads the library.
  if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    target_link_options(${target} PRIVATE -Wl,-z,defs)
  endif()
  # A unique symbol would keep the library in the process after it is unloaded.
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
endfunction()
