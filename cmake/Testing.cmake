# b2_add_test(NAME name SOURCES files... [LIBRARIES targets...] [LABELS labels...])
# A GoogleTest program in <build>/tests/bin; each of its cases is one CTest test. Every program gets
# the include roots of the repository and of src/.
function(b2_add_test)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "NAME" "SOURCES;LIBRARIES;LABELS")
  add_executable(${arg_NAME} ${arg_SOURCES})
  target_include_directories(${arg_NAME} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${arg_NAME} PRIVATE ${arg_LIBRARIES} GTest::gmock GTest::gtest_main)
  set_target_properties(${arg_NAME} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests/bin)
  gtest_discover_tests(${arg_NAME}
    DISCOVERY_TIMEOUT 60 PROPERTIES LABELS "${arg_LABELS}" TIMEOUT 600)
endfunction()

# b2_add_shell_tests(label themes...): <theme>.sh of this folder is the test <label>.<theme>.
function(b2_add_shell_tests label)
  foreach(theme IN LISTS ARGN)
    add_test(NAME ${label}.${theme} COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/${theme}.sh)
    set_tests_properties(${label}.${theme} PROPERTIES LABELS ${label} TIMEOUT 900 ENVIRONMENT
      "B2EMULATOR=$<TARGET_FILE:b2emulator>;B2DRIVE=$<TARGET_FILE:b2drive>;B2_PLUGIN=$<TARGET_FILE:backblazeb2>")
  endforeach()
endfunction()
