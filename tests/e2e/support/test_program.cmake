# How a GoogleTest program becomes tests: it lies beside the lab's DLLs, each of its cases is one
# test of ctest, and ctest's time limit is the last of the watchdogs. What measures time, the suites
# called ...SpeedTest, has the machine to itself.
function(qrv_add_test_program target)
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${QRV_LAB_DIR})
  gtest_discover_tests(${target}
    TEST_FILTER "-*SpeedTest.*"
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 120
    WORKING_DIRECTORY ${QRV_LAB_DIR}
    PROPERTIES TIMEOUT 120)
  gtest_discover_tests(${target}
    TEST_FILTER "*SpeedTest.*"
    TEST_LIST ${target}_SPEED_TESTS
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 120
    WORKING_DIRECTORY ${QRV_LAB_DIR}
    PROPERTIES TIMEOUT 120 RUN_SERIAL TRUE)
endfunction()

# The ANSI code pages of tests that run under several: a Western, a Cyrillic and a Japanese one.
set(QRV_CODE_PAGES 1252 1251 932)

# The same for a program whose cases run under several ANSI code pages, which stand behind the
# cases' names: "FindUsersNames.ShowsThem.932".
function(qrv_add_code_page_test_program target)
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${QRV_LAB_DIR})
  foreach(code_page IN LISTS QRV_CODE_PAGES)
    gtest_discover_tests(${target}
      TEST_SUFFIX .${code_page}
      TEST_LIST ${target}_${code_page}
      DISCOVERY_MODE PRE_TEST
      DISCOVERY_TIMEOUT 120
      WORKING_DIRECTORY ${QRV_LAB_DIR}
      PROPERTIES TIMEOUT 120 ENVIRONMENT QRV_LAB_CODE_PAGE=${code_page})
  endforeach()
endfunction()
