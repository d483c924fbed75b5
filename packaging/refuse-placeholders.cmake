# Read by CPack before it makes the package.
if(CPACK_VELORIN_PLACEHOLDERS)
  list(JOIN CPACK_VELORIN_PLACEHOLDERS " and " names)
  message(FATAL_ERROR "No package for others is made with placeholder addresses: set ${names}.")
endif()
