# tidewell_add_test(NAME <name> LABEL unit|ui|x11 SOURCES ... LIBS ... [TIMEOUT s])
# One test program per module, registered with CTest and labelled.
find_package(GTest REQUIRED)

function(tidewell_add_test)
  cmake_parse_arguments(T "" "NAME;LABEL;TIMEOUT" "SOURCES;LIBS;ENV" ${ARGN})
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} GTest::gtest GTest::gmock GTest::gtest_main tidewell_warnings)
  target_include_directories(${T_NAME} PRIVATE ${PROJECT_SOURCE_DIR}/tests/common)
  add_test(NAME ${T_NAME} COMMAND ${T_NAME})
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 300)
  endif()
  set(sanitizer_env "")
  if(TIDEWELL_SANITIZE)
    # Caches that system libraries keep for the life of the process are not our leaks.
    set(sanitizer_env "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/lsan.supp:print_suppressions=0")
  endif()
  set_tests_properties(${T_NAME} PROPERTIES LABELS "${T_LABEL}" TIMEOUT ${T_TIMEOUT}
    ENVIRONMENT "TIDEWELL_SOURCE_DIR=${PROJECT_SOURCE_DIR};TIDEWELL_BINARY_DIR=${PROJECT_BINARY_DIR};${sanitizer_env};${T_ENV}")
endfunction()
