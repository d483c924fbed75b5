# The system's own Python comes first: it is the one that has the packages.
block(PROPAGATE Python3_EXECUTABLE)
  set(Python3_ROOT_DIR /usr)
  set(Python3_FIND_STRATEGY LOCATION)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
endblock()

# add_python_tests(SCRIPT ENVIRONMENT NAME=VALUE...): every method of a test class in SCRIPT whose name
# begins with a capital letter is a test.
function(add_python_tests script)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "ENVIRONMENT")
  set(path ${CMAKE_CURRENT_SOURCE_DIR}/${script})
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${path})
  file(STRINGS ${path} lines REGEX "^class [A-Za-z]+\\(|^    def [A-Z][A-Za-z0-9]*\\(self\\)")
  foreach(line IN LISTS lines)
    if(line MATCHES "^class ([A-Za-z]+)")
      set(class ${CMAKE_MATCH_1})
    elseif(line MATCHES "def ([A-Za-z0-9]+)")
      set(test ${class}.${CMAKE_MATCH_1})
      add_test(NAME ${test} COMMAND ${Python3_EXECUTABLE} -B ${path} ${test})
      set_tests_properties(${test} PROPERTIES TIMEOUT 300 ENVIRONMENT "${arg_ENVIRONMENT}")
    endif()
  endforeach()
endfunction()
