# Links with ld64.lld itself: the compiler as a driver would add libraries of its own.
set(linker "\"${VELORIN_MACOS_LINKER}\" -arch arm64 -platform_version macos ${CMAKE_OSX_DEPLOYMENT_TARGET} ${CMAKE_OSX_DEPLOYMENT_TARGET}")
set(CMAKE_CXX_CREATE_SHARED_LIBRARY
    "${linker} -dylib <LINK_FLAGS> -o <TARGET> <SONAME_FLAG> <TARGET_INSTALLNAME_DIR><TARGET_SONAME> <OBJECTS> <LINK_LIBRARIES>")
set(CMAKE_CXX_LINK_EXECUTABLE
    "${linker} -execute <LINK_FLAGS> -o <TARGET> <OBJECTS> <LINK_LIBRARIES>")
unset(linker)
set(CMAKE_CXX_LINKER_WRAPPER_FLAG "")
set(CMAKE_CXX_LINKER_WRAPPER_FLAG_SEP "")

# check_exceptions(TARGET): the build fails where exceptions would not find their way through TARGET.
function(check_exceptions target)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${Python3_EXECUTABLE} -B ${PROJECT_SOURCE_DIR}/packaging/check_exceptions.py
            $<TARGET_FILE:${target}> VERBATIM)
endfunction()
