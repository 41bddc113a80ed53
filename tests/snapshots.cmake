# The example program, driven from outside as a user drives it.
if(TARGET snapshots)
  add_executable(snapshots_test snapshots_test.cpp)
  oxbow_target_flags(snapshots_test)
  target_include_directories(snapshots_test PRIVATE "${PROJECT_SOURCE_DIR}/tests")
  target_compile_definitions(snapshots_test
                             PRIVATE "SNAPSHOTS_PROGRAM=\"$<TARGET_FILE:snapshots>\"")
  target_link_libraries(snapshots_test PRIVATE OxbowPoolManager::OxbowPoolManager GTest::gtest_main)
  add_dependencies(snapshots_test snapshots)
  gtest_discover_tests(snapshots_test DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 240)
endif()
