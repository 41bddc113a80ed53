# Failing systems and stopped writers, over files in memory.
oxbow_internal_test(fault_tests ${oxbow_doubles} doubles/MemoryFiles.cpp faults/faults_test.cpp)
target_compile_definitions(fault_tests PRIVATE
  "OXBOW_DESIGN_PAGE=\"${PROJECT_SOURCE_DIR}/docs/design.md\""
  "OXBOW_WORKLOADS=\"${CMAKE_CURRENT_LIST_DIR}/faults/workloads.txt\"" ${oxbow_stride})
target_link_libraries(fault_tests PRIVATE oxbow_objects)
