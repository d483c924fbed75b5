# Where the add-in gets its host from: host_api are the declarations behind <Core/CoreAll.h>,
# host_libraries is what it links. Empty, HOST_API_DIR takes host/ and the substitute host's library;
# set to the host's kit, the kit's include and lib.
add_library(host_api INTERFACE)
add_library(host_libraries INTERFACE)
if(HOST_API_DIR STREQUAL "")
  target_include_directories(host_api INTERFACE ${PROJECT_SOURCE_DIR}/host)
  target_link_libraries(host_libraries INTERFACE $<LINK_ONLY:XInterface10>)
else()
  if(NOT EXISTS "${HOST_API_DIR}/include/Core/CoreAll.h")
    message(FATAL_ERROR "HOST_API_DIR: ${HOST_API_DIR}/include/Core/CoreAll.h is missing.")
  endif()
  find_library(HOST_XINTERFACE10 NAMES XInterface10 PATHS "${HOST_API_DIR}/lib" NO_DEFAULT_PATH NO_CACHE)
  if(NOT HOST_XINTERFACE10)
    message(FATAL_ERROR "HOST_API_DIR: the library XInterface10 is missing in ${HOST_API_DIR}/lib.")
  endif()
  target_include_directories(host_api SYSTEM INTERFACE "${HOST_API_DIR}/include")
  target_link_libraries(host_libraries INTERFACE "${HOST_XINTERFACE10}")
endif()
