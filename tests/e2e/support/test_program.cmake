# How a GoogleTest program becomes tests: it lies beside the lab's DLLs, each of its cases is one
# test of ctest, and ctest's time limit is the last of the watchdogs.
function(qrv_add_test_program target)
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${QRV_LAB_DIR})
  gtest_discover_tests(${target}
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 120
    WORKING_DIRECTORY ${QRV_LAB_DIR}
    PROPERTIES TIMEOUT 120)
endfunction()
