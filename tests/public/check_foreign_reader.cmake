# A program that knows the format page alone walks a store's files, and finds a cut. Called with
# -DPYTHON=, -DREADER=, -DPROGRAM= and -DSCRATCH=.
file(REMOVE_RECURSE "${SCRATCH}")
file(WRITE "${SCRATCH}/tree/a" "some bytes")
foreach(snapshot 1 2)
  file(WRITE "${SCRATCH}/tree/b" "others, ${snapshot}")
  execute_process(COMMAND "${PROGRAM}" take "${SCRATCH}/store" "${SCRATCH}/tree" OUTPUT_QUIET
                  COMMAND_ERROR_IS_FATAL ANY)
endforeach()
execute_process(COMMAND "${PYTHON}" "${READER}" "${SCRATCH}/store/contents" "${SCRATCH}/store/trees"
                OUTPUT_VARIABLE told COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "3 pools, sound" sound "${told}")
if(NOT sound STREQUAL "3 pools, sound;3 pools, sound")
  message(FATAL_ERROR "${told}")
endif()
file(READ "${SCRATCH}/store/trees" start LIMIT 47 HEX)
file(WRITE "${SCRATCH}/cut" "${start}")
execute_process(COMMAND "${PYTHON}" "${READER}" "${SCRATCH}/cut" RESULT_VARIABLE result
                OUTPUT_VARIABLE told)
if(NOT result EQUAL 1 OR NOT told MATCHES "damaged")
  message(FATAL_ERROR "${result} ${told}")
endif()
