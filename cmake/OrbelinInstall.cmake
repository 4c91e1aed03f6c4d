include(CMakePackageConfigHelpers)
install(DIRECTORY include/orbelin ${ORBELIN_GENERATED_DIR}/include/orbelin
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
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

# pkg-config: orbelin-data.pc beside the CMake package, for hosts built with
# Make or Meson. The libraries are listed dependents first, as a static link
# needs. Boost.JSON is part of the public headers and has no .pc of its own, so
# it is in Libs. The other dependencies are private (Requires.private); while
# the libraries are static archives their link flags must still reach a plain
# `pkg-config --libs`, so they are in Libs too.
function(orbelin_link_order target out)
  get_property(seen GLOBAL PROPERTY ORBELIN_PC_SEEN)
  if(target IN_LIST seen)
    return()
  endif()
  set_property(GLOBAL APPEND PROPERTY ORBELIN_PC_SEEN ${target})
  get_target_property(deps ${target} LINK_LIBRARIES)
  foreach(dep IN LISTS deps)
    string(REGEX REPLACE "^OrbelinData::" "orbelin_" dep "${dep}")
    if(dep IN_LIST ORBELIN_LIBRARIES)
      orbelin_link_order(${dep} ignored)
    endif()
  endforeach()
  set_property(GLOBAL APPEND PROPERTY ORBELIN_PC_ORDER ${target})
endfunction()
set_property(GLOBAL PROPERTY ORBELIN_PC_SEEN "")
set_property(GLOBAL PROPERTY ORBELIN_PC_ORDER "")
foreach(library IN LISTS ORBELIN_LIBRARIES)
  orbelin_link_order(${library} ignored)
endforeach()
get_property(orbelin_pc_order GLOBAL PROPERTY ORBELIN_PC_ORDER)
list(REVERSE orbelin_pc_order)
set(ORBELIN_PC_LIBS "")
foreach(library IN LISTS orbelin_pc_order)
  string(APPEND ORBELIN_PC_LIBS "-l${library} ")
endforeach()
set(orbelin_pc_modules libcurl sqlite3 icu-i18n icu-uc libplist-2.0)
string(REPLACE ";" " " ORBELIN_PC_REQUIRES_PRIVATE "${orbelin_pc_modules}")
string(APPEND ORBELIN_PC_LIBS "-lboost_json")
if(NOT BUILD_SHARED_LIBS)
  pkg_check_modules(ORBELIN_PC_PRIVATE QUIET ${orbelin_pc_modules})
  foreach(library IN LISTS ORBELIN_PC_PRIVATE_LIBRARIES)
    string(APPEND ORBELIN_PC_LIBS " -l${library}")
  endforeach()
endif()
string(APPEND ORBELIN_PC_LIBS " -pthread")
# Relative to the .pc file, so the installed tree may be moved.
file(RELATIVE_PATH ORBELIN_PC_UP "/p/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/p")
string(REGEX REPLACE "/$" "" ORBELIN_PC_UP "${ORBELIN_PC_UP}")
configure_file(cmake/orbelin-data.pc.in ${CMAKE_CURRENT_BINARY_DIR}/orbelin-data.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orbelin-data.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
