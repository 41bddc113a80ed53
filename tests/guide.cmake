# The guide: what the page shows is what is built here, and it prints what the page says.
if(TARGET guide)
  add_test(NAME guide.ShowsFragmentsAsTheyAreBuiltAndWhatTheyPrint
           COMMAND "${CMAKE_COMMAND}" "-DPAGE=${PROJECT_SOURCE_DIR}/docs/guide.md"
                   "-DSOURCES=${PROJECT_SOURCE_DIR}/examples/guide" "-DPROGRAM=$<TARGET_FILE:guide>"
                   "-DSCRATCH=${CMAKE_CURRENT_BINARY_DIR}/guide"
                   -P "${CMAKE_CURRENT_LIST_DIR}/public/check_guide.cmake")
endif()
