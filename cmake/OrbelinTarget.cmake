# Shared compile settings: warnings on everywhere, sanitizers on request.
set(ORBELIN_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
    -Wold-style-cast -Wcast-align -Woverloaded-virtual -Wconversion -Wsign-conversion
    -Wdouble-promotion -Wformat=2 -Wimplicit-fallthrough)

if(ORBELIN_SANITIZE)
  add_compile_options(-fsanitize=${ORBELIN_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${ORBELIN_SANITIZE})
endif()

set(ORBELIN_LIBRARIES "" CACHE INTERNAL "")

# orbelin_add_library(name SOURCES ... DEPS ...): a layer library with the
# alias OrbelinData::name, public headers from include/ (and those generated
# from the entity tables), and an install rule.
function(orbelin_add_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
  add_library(orbelin_${name} ${ARG_SOURCES})
  add_library(OrbelinData::${name} ALIAS orbelin_${name})
  set_target_properties(orbelin_${name} PROPERTIES EXPORT_NAME ${name} OUTPUT_NAME orbelin_${name})
  target_include_directories(orbelin_${name}
    PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
           $<BUILD_INTERFACE:${ORBELIN_GENERATED_DIR}/include>
           $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
    PRIVATE ${PROJECT_SOURCE_DIR}/src ${ORBELIN_GENERATED_DIR}/src)
  target_compile_options(orbelin_${name} PRIVATE ${ORBELIN_WARNINGS})
  target_link_libraries(orbelin_${name} PUBLIC ${ARG_DEPS} PRIVATE ${ARG_PRIVATE_DEPS})
  install(TARGETS orbelin_${name} EXPORT OrbelinDataTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  set(ORBELIN_LIBRARIES ${ORBELIN_LIBRARIES} orbelin_${name} CACHE INTERNAL "")
endfunction()

# orbelin_add_test(name SOURCES ... DEPS ...): one GoogleTest binary under ctest.
function(orbelin_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;PROPERTIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_compile_options(${name} PRIVATE ${ORBELIN_WARNINGS} -Wno-conversion -Wno-sign-conversion)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests ${PROJECT_SOURCE_DIR}/src
    ${ORBELIN_GENERATED_DIR}/src)
  target_link_libraries(${name} PRIVATE ${ARG_DEPS} GTest::gtest GTest::gmock orbelin_testsupport)
  target_compile_definitions(${name} PRIVATE
    ORBELIN_SOURCE_DIR="${PROJECT_SOURCE_DIR}" ORBELIN_BINARY_DIR="${PROJECT_BINARY_DIR}")
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300 ${ARG_PROPERTIES})
endfunction()
