# The small suite over the product as it ships: the real shared library, public headers alone.
add_executable(public_test public/public_test.cpp)
oxbow_target_flags(public_test)
target_include_directories(public_test PRIVATE "${PROJECT_SOURCE_DIR}/tests")
target_link_libraries(public_test PRIVATE OxbowPoolManager::OxbowPoolManager GTest::gtest_main)
gtest_discover_tests(public_test DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 120)
