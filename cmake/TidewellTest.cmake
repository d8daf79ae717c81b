# SPDX-License-Identifier: MIT
# tidewell_add_test(NAME <name> LABEL unit|ui|x11 SOURCES ... LIBS ... [TIMEOUT s] [CASES c...])
# One test program per module, registered with CTest and labelled. With CASES, the program is
# registered once per case as <name>.<case>, running the tests whose name ends in /<case>.
find_package(GTest REQUIRED)

function(tidewell_add_test)
  cmake_parse_arguments(T "" "NAME;LABEL;TIMEOUT" "SOURCES;LIBS;ENV;CASES" ${ARGN})
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} GTest::gtest GTest::gmock GTest::gtest_main tidewell_warnings)
  target_include_directories(${T_NAME} PRIVATE ${PROJECT_SOURCE_DIR}/tests/common)
  target_compile_definitions(${T_NAME} PRIVATE TIDEWELL_TEST_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
    $<$<BOOL:${TIDEWELL_SANITIZE}>:TIDEWELL_TEST_SANITIZED>)
  set(names "")
  if(T_CASES)
    foreach(c ${T_CASES})
      add_test(NAME ${T_NAME}.${c} COMMAND ${T_NAME} --gtest_filter=*/${c})
      list(APPEND names ${T_NAME}.${c})
    endforeach()
  else()
    add_test(NAME ${T_NAME} COMMAND ${T_NAME})
    set(names ${T_NAME})
  endif()
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 300)
  endif()
  set(sanitizer_env "")
  if(TIDEWELL_SANITIZE)
    # Caches that system libraries keep for the life of the process are not our leaks.
    set(sanitizer_env "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/lsan.supp:print_suppressions=0")
  elseif(TIDEWELL_TSAN)
    # Qt, GLib and OpenSSL are not instrumented: their reports are theirs (see the file).
    set(sanitizer_env "TSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/tsan.supp:halt_on_error=1")
  endif()
  set_tests_properties(${names} PROPERTIES LABELS "${T_LABEL}" TIMEOUT ${T_TIMEOUT}
    ENVIRONMENT "TIDEWELL_SOURCE_DIR=${PROJECT_SOURCE_DIR};TIDEWELL_BINARY_DIR=${PROJECT_BINARY_DIR};${sanitizer_env};${T_ENV}")
endfunction()
