# The README's first program: what the page shows is the source that is built here, and it does what the
# page says.
set(oxbow_readme_check "${CMAKE_CURRENT_LIST_DIR}/public/check_readme.cmake")
add_test(NAME readme.ShowsTheFirstProgramAsItIsBuilt
         COMMAND "${CMAKE_COMMAND}" "-DREADME=${PROJECT_SOURCE_DIR}/README.md"
                 "-DSOURCE=${PROJECT_SOURCE_DIR}/examples/first_program/main.cpp"
                 -P "${oxbow_readme_check}")

if(TARGET first_program)
  add_test(NAME readme.FirstProgramPrintsWhatTheReadmeSays
           COMMAND "${CMAKE_COMMAND}" "-DREADME=${PROJECT_SOURCE_DIR}/README.md"
                   "-DPROGRAM=$<TARGET_FILE:first_program>"
                   "-DSCRATCH=${CMAKE_CURRENT_BINARY_DIR}/first_program"
                   -P "${oxbow_readme_check}")
endif()
