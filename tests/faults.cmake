# Failing systems and stopped writers, over files in memory. A sanitizer's build runs every 25th case;
# OXBOW_FAULT_STRIDE in the environment is stronger.
string(FIND "${CMAKE_CXX_FLAGS}" "-fsanitize" oxbow_sanitized)
oxbow_internal_test(fault_tests ${oxbow_doubles} doubles/MemoryFiles.cpp faults/faults_test.cpp)
target_compile_definitions(fault_tests PRIVATE
  "OXBOW_WORKLOADS=\"${CMAKE_CURRENT_LIST_DIR}/faults/workloads.txt\""
  OXBOW_FAULT_STRIDE=$<IF:$<EQUAL:${oxbow_sanitized},-1>,1,25>)
target_link_libraries(fault_tests PRIVATE oxbow_objects)
