# b2_add_test(NAME name SOURCES files... [LIBRARIES targets...] [LABELS labels...] [ONE_AT_A_TIME])
# A GoogleTest program in <build>/tests/bin; each of its cases is one CTest test. Every program gets
# the include roots of the repository and of src/.
function(b2_add_test)
  cmake_parse_arguments(PARSE_ARGV 0 arg ONE_AT_A_TIME "NAME" "SOURCES;LIBRARIES;LABELS")
  add_executable(${arg_NAME} ${arg_SOURCES})
  target_include_directories(${arg_NAME} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${arg_NAME} PRIVATE ${arg_LIBRARIES} GTest::gmock GTest::gtest_main)
  set_target_properties(${arg_NAME} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests/bin)
  set(lock)
  if(arg_ONE_AT_A_TIME)
    set(lock RESOURCE_LOCK ${arg_NAME})
  endif()
  gtest_discover_tests(${arg_NAME}
    DISCOVERY_TIMEOUT 60 PROPERTIES LABELS "${arg_LABELS}" TIMEOUT 600 ${lock})
endfunction()

# b2_pass_programs(test variables...): the built programs and the library, in the environment of a test.
function(b2_pass_programs test)
  set(programs "B2EMULATOR=$<TARGET_FILE:b2emulator>" ${ARGN})
  if(B2_BUILD_HOST)
    list(APPEND programs "B2DRIVE=$<TARGET_FILE:b2drive>" "B2_PLUGIN=$<TARGET_FILE:backblazeb2>")
  endif()
  set_tests_properties(${test} PROPERTIES ENVIRONMENT "${programs}")
endfunction()

# b2_add_shell_tests(label themes...): <theme>.sh of this folder is the test <label>.<theme>.
function(b2_add_shell_tests label)
  foreach(theme IN LISTS ARGN)
    add_test(NAME ${label}.${theme} COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/${theme}.sh)
    set_tests_properties(${label}.${theme} PROPERTIES LABELS ${label} TIMEOUT 900)
    b2_pass_programs(${label}.${theme})
  endforeach()
endfunction()

# b2_add_python_tests(label themes...): the cases of unittest in <theme>_test.py of this folder are
# the test <folder>.<theme>.
function(b2_add_python_tests label)
  get_filename_component(folder ${CMAKE_CURRENT_SOURCE_DIR} NAME)
  foreach(theme IN LISTS ARGN)
    add_test(NAME ${folder}.${theme} COMMAND python3 -B -W error -m unittest ${theme}_test
      WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
    set_tests_properties(${folder}.${theme} PROPERTIES LABELS ${label} TIMEOUT 600)
    b2_pass_programs(${folder}.${theme} PYTHONPATH=${PROJECT_SOURCE_DIR}/tests/support)
  endforeach()
endfunction()
