include(CMakePackageConfigHelpers)

install(TARGETS tevra_util tevra EXPORT tevra_utilTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tevra FILES_MATCHING PATTERN "*.h")

install(EXPORT tevra_utilTargets NAMESPACE tevra_util::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tevra_util)
configure_package_config_file(cmake/tevra_utilConfig.cmake.in
  ${PROJECT_BINARY_DIR}/tevra_utilConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tevra_util)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tevra_utilConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tevra_utilConfig.cmake
  ${PROJECT_BINARY_DIR}/tevra_utilConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tevra_util)

# The .pc file locates the prefix from its own folder, so the install is relocatable.
file(RELATIVE_PATH TEVRA_PC_RELATIVE_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/tevra_util.pc.in ${PROJECT_BINARY_DIR}/tevra_util.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tevra_util.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
