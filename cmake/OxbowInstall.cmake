# What `cmake --install` puts where. Nothing that is installed names a folder of this machine, so that the
# prefix can be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(oxbow_headers_dir "${CMAKE_INSTALL_INCLUDEDIR}/OxbowPoolManager")
set(oxbow_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/OxbowPoolManager")

install(DIRECTORY "${OXBOW_INCLUDE_DIR}/OxbowPoolManager/" DESTINATION "${oxbow_headers_dir}"
        COMPONENT development FILES_MATCHING PATTERN "*.h")

# Each kind has a list of targets of its own, in which it bears the one name that programs use.
function(oxbow_install_kind target kind)
  install(TARGETS ${target} EXPORT ${target}
          LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT development
          ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development
          INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
  install(EXPORT ${target} NAMESPACE OxbowPoolManager:: FILE OxbowPoolManager-${kind}.cmake
          DESTINATION "${oxbow_package_dir}" COMPONENT development)
endfunction()
if(TARGET OxbowPoolManager)
  oxbow_install_kind(OxbowPoolManager shared)
endif()
if(TARGET OxbowPoolManager_static)
  oxbow_install_kind(OxbowPoolManager_static static)
endif()

write_basic_package_version_file("${PROJECT_BINARY_DIR}/OxbowPoolManagerConfigVersion.cmake"
                                 COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_CURRENT_LIST_DIR}/OxbowPoolManagerConfig.cmake"
        "${PROJECT_BINARY_DIR}/OxbowPoolManagerConfigVersion.cmake"
        DESTINATION "${oxbow_package_dir}" COMPONENT development)

# The way from the folder of the .pc file up to the prefix depends on how deep the folder of libraries is.
set(oxbow_pc_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
           BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}/${oxbow_pc_dir}" OUTPUT_VARIABLE OXBOW_PC_PREFIX)
configure_file("${CMAKE_CURRENT_LIST_DIR}/OxbowPoolManager.pc.in" OxbowPoolManager.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/OxbowPoolManager.pc" DESTINATION "${oxbow_pc_dir}"
        COMPONENT development)
