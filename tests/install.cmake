# What `cmake --install` leaves behind, and what runs when the library is loaded. How it is used:
# scripts/consumers. A sanitizer brings initialisers of its own, and names of source folders.
if(TARGET OxbowPoolManager_static AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  add_test(NAME install.CanBeMovedAndItsHeadersStandAlone
           COMMAND "${CMAKE_COMMAND}" "-DBUILD=${PROJECT_BINARY_DIR}" "-DTREE=${PROJECT_SOURCE_DIR}"
                   "-DCOMPILER=${CMAKE_CXX_COMPILER}"
                   "-DSCRATCH=${CMAKE_CURRENT_BINARY_DIR}/install" "-DPREFIX=${CMAKE_INSTALL_PREFIX}"
                   -P "${CMAKE_CURRENT_LIST_DIR}/public/check_install.cmake")
  add_test(NAME exports.LoadingTheLibraryRunsNoneOfItsCode
           COMMAND "${CMAKE_COMMAND}" "-DARCHIVE=$<TARGET_FILE:OxbowPoolManager_static>"
                   "-DREADELF=${CMAKE_READELF}" -P "${CMAKE_CURRENT_LIST_DIR}/public/check_exports.cmake")
endif()
