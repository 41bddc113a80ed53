# Real processes on the product as it ships, and threads: on several documents, and on one file's inside.
add_executable(processes_test processes/processes_test.cpp)
oxbow_target_flags(processes_test)
target_compile_definitions(processes_test PRIVATE ${oxbow_stride})
target_include_directories(processes_test PRIVATE "${PROJECT_SOURCE_DIR}/tests")
target_link_libraries(processes_test PRIVATE OxbowPoolManager::OxbowPoolManager GTest::gtest_main)
gtest_discover_tests(processes_test DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 1800)

find_package(Threads REQUIRED)
oxbow_internal_test(threads_test processes/threads_test.cpp)
target_link_libraries(threads_test PRIVATE oxbow_objects oxbow_platform oxbow_seams Threads::Threads)
target_compile_definitions(threads_test PRIVATE ${oxbow_stride})
