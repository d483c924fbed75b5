# Builds the add-in against a copy of host/ in another folder, laid out as the host's kit is, and
# compares the names that it shows with those of the built one.
file(REMOVE_RECURSE ${WORK})
file(COPY ${SOURCE}/host/ DESTINATION ${WORK}/kit/include)
file(COPY ${HOST_LIBRARY} DESTINATION ${WORK}/kit/lib)

execute_process(
  COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/build -G Ninja
    -D CMAKE_BUILD_TYPE=Release -D HOST_API_DIR=${WORK}/kit
    -D VELORIN_LEARNING_HOST=learning.test.example
    -D VELORIN_ESHOP_ADDRESS=https://eshop.test.example
  COMMAND_ERROR_IS_FATAL ANY)

function(names library variable)
  execute_process(COMMAND nm -D --defined-only -f posix ${library}
    OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX REPLACE " [^\n]*" "" output "${output}")
  set(${variable} "${output}" PARENT_SCOPE)
endfunction()

execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK}/build COMMAND_ERROR_IS_FATAL ANY)
foreach(text "https://learning.test.example/fusion360/learning.asp?lang=" "open https://eshop.test.example")
  file(STRINGS ${WORK}/build/Velorin.so found REGEX "test.example")
  string(FIND "${found}" "${text}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "The library does not hold the text ${text}")
  endif()
endforeach()
names(${ADDIN} expected)
names(${WORK}/build/Velorin.so found)
if(NOT found STREQUAL expected OR expected STREQUAL "")
  message(FATAL_ERROR "Other names than those of ${ADDIN}:\n${found}")
endif()
