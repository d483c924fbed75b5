# The add-in writes down what it reaches, as it goes: %c keeps the counts in the file itself, so that
# a process that ends by an assertion or is killed has told all the same. One file for each process
# and library: two processes never write into the same one.
set(VELORIN_COVERAGE_PROFILES ${CMAKE_BINARY_DIR}/profiles)
set(coverage_options -fprofile-instr-generate=${VELORIN_COVERAGE_PROFILES}/%c%p-%m.profraw
    -fcoverage-mapping)
target_compile_options(velorin PRIVATE ${coverage_options} "SHELL:-mllvm -runtime-counter-relocation")
target_link_options(velorin PRIVATE ${coverage_options})
