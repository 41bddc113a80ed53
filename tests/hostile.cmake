# Files that may hold anything, in memory; the fuzzers read theirs with the same code.
add_executable(hostile_tests hostile/hostile_test.cpp ${oxbow_doubles} doubles/MemoryFiles.cpp)
oxbow_target_flags(hostile_tests)
target_compile_definitions(hostile_tests PRIVATE
  "OXBOW_DESIGN_PAGE=\"${PROJECT_SOURCE_DIR}/docs/design.md\"" ${oxbow_stride})
target_include_directories(hostile_tests PRIVATE "${PROJECT_SOURCE_DIR}/src" "${PROJECT_SOURCE_DIR}/tests")
target_link_libraries(hostile_tests PRIVATE oxbow_objects GTest::gtest_main)
gtest_discover_tests(hostile_tests TEST_PREFIX "hostile_tests." DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 1800)
