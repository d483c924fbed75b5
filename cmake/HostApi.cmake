# The host that the add-in is built for. The target host_api has the declarations of
# <Core/CoreAll.h>. The target host_libraries has the libraries, in the order in which they are loaded.
# If HOST_API_DIR is the folder of the host's SDK, both come from there. If it is empty, the
# declarations are those in host/, and the library is the substitute host's; the preset macos links
# stubs of the host's libraries.
option(VELORIN_INSTALLED_SDK "Use the host's SDK if it is installed" OFF)

block()
  set(sdk "")
  if(VELORIN_INSTALLED_SDK)
    set(sdk "$ENV{HOME}/Library/Application Support/Autodesk/Autodesk Fusion 360/API/CPP")
    if(NOT IS_DIRECTORY "${sdk}")
      set(sdk "")
    endif()
  endif()
  set(HOST_API_DIR "${sdk}" CACHE PATH
      "The host's SDK, with its folders include and lib; empty: the declarations in host/")

  add_library(host_api INTERFACE)
  add_library(host_libraries INTERFACE)
  set(names XInterface10)
  if(CMAKE_SYSTEM_NAME STREQUAL "Darwin" AND
     (VELORIN_MACOS_PACKAGE OR NOT HOST_API_DIR STREQUAL ""))
    list(APPEND names FusionXInterface10 CAMXInterface10)
  endif()

  if(HOST_API_DIR STREQUAL "")
    target_include_directories(host_api INTERFACE ${PROJECT_SOURCE_DIR}/host)
    if(VELORIN_MACOS_PACKAGE)
      message(STATUS "Without the host's SDK (HOST_API_DIR) the library is for inspection only: "
                     "the host cannot load it.")
      list(TRANSFORM names PREPEND ${PROJECT_SOURCE_DIR}/packaging/stubs/)
      list(TRANSFORM names APPEND .tbd)
    endif()
    foreach(name IN LISTS names)
      target_link_libraries(host_libraries INTERFACE $<LINK_ONLY:${name}>)
    endforeach()
  else()
    if(NOT EXISTS "${HOST_API_DIR}/include/Core/CoreAll.h")
      message(FATAL_ERROR "HOST_API_DIR: ${HOST_API_DIR}/include/Core/CoreAll.h is missing.")
    endif()
    target_include_directories(host_api SYSTEM INTERFACE "${HOST_API_DIR}/include")
    set(CMAKE_FIND_LIBRARY_PREFIXES lib "")
    # What the SDK may call them instead.
    set(XInterface10_in_sdk core)
    set(FusionXInterface10_in_sdk fusion)
    set(CAMXInterface10_in_sdk cam)
    foreach(name IN LISTS names)
      find_library(HOST_${name} NAMES ${name} ${${name}_in_sdk} PATHS "${HOST_API_DIR}/lib"
                   NO_DEFAULT_PATH NO_CACHE)
      if(NOT HOST_${name})
        message(FATAL_ERROR "HOST_API_DIR: the library ${name} (or ${${name}_in_sdk}) is missing in "
                            "${HOST_API_DIR}/lib.")
      endif()
      target_link_libraries(host_libraries INTERFACE "${HOST_${name}}")
    endforeach()
  endif()
endblock()
