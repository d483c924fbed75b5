# Where the add-in gets its host from: host_api are the declarations behind <Core/CoreAll.h>,
# host_libraries is what it links, in the order in which it is loaded. Set to the host's kit,
# HOST_API_DIR takes the kit's include and lib. Empty, it takes host/, and with that the substitute
# host's library, or in the preset macos stubs that bear the names of the host's.
option(VELORIN_INSTALLED_KIT "Use the host's kit if it is installed" OFF)

block()
  set(kit "")
  if(VELORIN_INSTALLED_KIT)
    set(kit "$ENV{HOME}/Library/Application Support/Autodesk/Autodesk Fusion 360/API/CPP")
    if(NOT IS_DIRECTORY "${kit}")
      set(kit "")
    endif()
  endif()
  set(HOST_API_DIR "${kit}" CACHE PATH
      "The host's development kit, with its folders include and lib; empty: the declarations in host/")

  add_library(host_api INTERFACE)
  add_library(host_libraries INTERFACE)
  set(names XInterface10)
  if(CMAKE_SYSTEM_NAME STREQUAL "Darwin" AND
     (VELORIN_FOR_REAL_HOST OR NOT HOST_API_DIR STREQUAL ""))
    list(APPEND names FusionXInterface10 CAMXInterface10)
  endif()

  if(HOST_API_DIR STREQUAL "")
    target_include_directories(host_api INTERFACE ${PROJECT_SOURCE_DIR}/host)
    if(VELORIN_FOR_REAL_HOST)
      message(STATUS "Without the host's kit (HOST_API_DIR) the library is for inspection only: "
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
    # What the kit may call them instead.
    set(XInterface10_in_kit core)
    set(FusionXInterface10_in_kit fusion)
    set(CAMXInterface10_in_kit cam)
    foreach(name IN LISTS names)
      find_library(HOST_${name} NAMES ${name} ${${name}_in_kit} PATHS "${HOST_API_DIR}/lib"
                   NO_DEFAULT_PATH NO_CACHE)
      if(NOT HOST_${name})
        message(FATAL_ERROR "HOST_API_DIR: the library ${name} (or ${${name}_in_kit}) is missing in "
                            "${HOST_API_DIR}/lib.")
      endif()
      target_link_libraries(host_libraries INTERFACE "${HOST_${name}}")
    endforeach()
  endif()
endblock()
