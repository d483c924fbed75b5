# Links with ld64.lld itself: the compiler as a driver would add libraries of its own.
set(CMAKE_CXX_CREATE_SHARED_LIBRARY
    "\"${VELORIN_MACOS_LINKER}\" -dylib -arch arm64 -platform_version macos 11.0 11.0 <LINK_FLAGS> -o <TARGET> <SONAME_FLAG> <TARGET_INSTALLNAME_DIR><TARGET_SONAME> <OBJECTS> <LINK_LIBRARIES>")
set(CMAKE_CXX_LINKER_WRAPPER_FLAG "")
set(CMAKE_CXX_LINKER_WRAPPER_FLAG_SEP "")
