# The small suite over the product as it ships: the real shared library, public headers alone.
add_executable(public_test public/public_test.cpp internal/swapper_test.cpp)
oxbow_target_flags(public_test)
target_include_directories(public_test PRIVATE "${PROJECT_SOURCE_DIR}/tests")
target_compile_definitions(public_test
                           PRIVATE "OXBOW_FORMAT_PAGE=\"${PROJECT_SOURCE_DIR}/docs/format.md\"")
target_link_libraries(public_test PRIVATE OxbowPoolManager::OxbowPoolManager GTest::gtest_main)
gtest_discover_tests(public_test DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 120)

# A program that knows the format's page alone, beside the library's own view of the same files.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
if(TARGET snapshots AND TARGET list_pools)
  add_test(NAME foreign_reader.AgreesWithTheLibraryOnSoundAndDamagedFiles
           COMMAND Python3::Interpreter "${CMAKE_CURRENT_SOURCE_DIR}/public/check_foreign_reader.py"
                   "${PROJECT_SOURCE_DIR}" "${CMAKE_CURRENT_BINARY_DIR}/foreign_reader"
                   $<TARGET_FILE:list_pools> $<TARGET_FILE:first_program> $<TARGET_FILE:snapshots>)
endif()
