# How GoogleTest programs become tests of ctest. They lie beside the lab's DLLs, and ctest's time
# limit is the last of the watchdogs. Starting a program under Wine costs as much as several cases do:
# so an entry runs many of them, in an order that changes with each run and that a failure names.

# The ANSI code pages of tests that run under several: a Western, a Cyrillic and a Japanese one.
set(QRV_CODE_PAGES 1252 1251 932)

set(QRV_RUN_SUITES ${CMAKE_CURRENT_LIST_DIR}/run_suites.cmake)

# One entry for the whole program, which is given the arguments.
function(qrv_add_test_program target)
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${QRV_LAB_DIR})
  add_test(NAME ${target} COMMAND ${target} ${ARGN} WORKING_DIRECTORY ${QRV_LAB_DIR})
  set_tests_properties(${target} PROPERTIES TIMEOUT 300)
endfunction()

# Entries by suite, for programs that start others: see run_suites.cmake. `code_page` is empty for a
# program that runs under one only.
function(qrv_add_suites target code_page)
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${QRV_LAB_DIR})
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}${code_page}.cmake)
  file(GENERATE OUTPUT ${script} CONTENT "set(program \"$<TARGET_FILE:${target}>\")
set(launcher \"${CMAKE_CROSSCOMPILING_EMULATOR}\")
set(code_page \"${code_page}\")
include(\"${QRV_RUN_SUITES}\")
")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${script})
endfunction()
