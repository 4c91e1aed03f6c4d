# The entity declarations of both generations are written at configure time
# from their tables under model/ into the build tree (generated/include and
# generated/src), before any target compiles. Editing a table or the
# generator re-runs CMake on the next build; the generator rewrites only the
# files whose text changed, so an untouched entity rebuilds nothing.
find_package(Python3 3.11 REQUIRED COMPONENTS Interpreter)  # for tomllib

set(ORBELIN_GENERATED_DIR "${PROJECT_BINARY_DIR}/generated")
set(orbelin_model_generator "${PROJECT_SOURCE_DIR}/tools/generate_model.py")
set(orbelin_model_tables
    "${PROJECT_SOURCE_DIR}/model/recovery_path.toml"
    "${PROJECT_SOURCE_DIR}/model/records.toml")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             ${orbelin_model_generator} ${orbelin_model_tables})
execute_process(
  COMMAND "${Python3_EXECUTABLE}" "${orbelin_model_generator}" "${ORBELIN_GENERATED_DIR}"
          ${orbelin_model_tables}
  RESULT_VARIABLE orbelin_model_result
  ERROR_VARIABLE orbelin_model_error)
if(NOT orbelin_model_result EQUAL 0)
  message(FATAL_ERROR "The entity tables under model/ do not hold together:\n${orbelin_model_error}")
endif()
