include(CMakePackageConfigHelpers)
install(DIRECTORY include/orbelin DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY resources/ DESTINATION ${ORBELIN_INSTALL_RESOURCE_DIR})
install(PROGRAMS tools/sample_service.py DESTINATION ${CMAKE_INSTALL_BINDIR} RENAME orbelin-sample-service)
install(EXPORT OrbelinDataTargets NAMESPACE OrbelinData::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/OrbelinData)
configure_package_config_file(cmake/OrbelinDataConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/OrbelinDataConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/OrbelinData
  PATH_VARS ORBELIN_INSTALL_RESOURCE_DIR)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/OrbelinDataConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/OrbelinDataConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/OrbelinDataConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/OrbelinData)
