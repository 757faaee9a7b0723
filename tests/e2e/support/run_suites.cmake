# Included by ctest, before it runs anything, for the GoogleTest `program`, which `launcher` starts
# under `code_page`. Makes entries named as the suites are, "FindUsersTest"; a long suite has several,
# "PurgeQsfTest.1" and so on. The code page stands behind: "FindUsersNamesTest.932". What measures time
# is slow, and has the machine to itself.

set(cases_per_entry 8)
# These have an entry for each case, and begin first: their cases run for ten seconds and more.
set(long_suites "^(Shards/.*|AssignFaultSweepTest|CheckQsfTest|CheckFaultSweepTest|CreationTest|FewStoresTest|JobFailureTest")
string(APPEND long_suites "|RepairBreakTest|StoreLogonTest|StoreNamesTest")
string(APPEND long_suites "|Kinds/.*SystemFaultSweepTest|Kinds/PurgeFaultSweepTest|.*InterruptionTest")
string(APPEND long_suites "|Check/Run.*Test|.*/RunStopTest|RunForEverTest|RunKilledTest|RunRefusalTest)$")

# Sets `suites` to the program's suites and `<suite>_cases` to how many cases each has, in the calling
# scope. The list is kept beside the program.
macro(read_suites)
  set(list ${program}.suites)
  if(NOT EXISTS ${list} OR ${program} IS_NEWER_THAN ${list})
    execute_process(COMMAND ${launcher} ${program} --gtest_list_tests
      OUTPUT_VARIABLE printed RESULT_VARIABLE failed)
    if(failed OR NOT printed MATCHES "\\.\r?\n  ")
      message(FATAL_ERROR "${program} does not list its tests: ${failed} ${printed}")
    endif()
    file(WRITE ${list}.new "${printed}")
    file(RENAME ${list}.new ${list})
  endif()
  file(STRINGS ${list} lines)
  set(suites)
  foreach(line IN LISTS lines)
    if(line MATCHES "^([^ ]+)\\.")
      set(suite ${CMAKE_MATCH_1})
      list(APPEND suites ${suite})
      set(${suite}_cases 0)
    elseif(line MATCHES "^  ")
      math(EXPR ${suite}_cases "${${suite}_cases} + 1")
    endif()
  endforeach()
endmacro()

function(add_suite_entry name suite shard shards)
  add_test(${name} ${launcher} ${program} --gtest_shuffle --gtest_filter=${suite}.*)
  get_filename_component(directory ${program} DIRECTORY)
  set_tests_properties(${name} PROPERTIES
    WORKING_DIRECTORY ${directory}
    TIMEOUT 300
    ENVIRONMENT "QRV_LAB_CODE_PAGE=${code_page};GTEST_SHARD_INDEX=${shard};GTEST_TOTAL_SHARDS=${shards}")
  if(suite MATCHES "${long_suites}")
    set_tests_properties(${name} PROPERTIES COST 50)
  elseif(suite MATCHES "SpeedTest$")
    set_tests_properties(${name} PROPERTIES
      RUN_SERIAL TRUE LABELS slow SKIP_REGULAR_EXPRESSION "\\[  SKIPPED \\]")
  endif()
endfunction()

read_suites()
foreach(suite IN LISTS suites)
  set(count ${${suite}_cases})
  if(suite MATCHES "${long_suites}")
    set(shards ${count})
  else()
    math(EXPR shards "(${count} + ${cases_per_entry} - 1) / ${cases_per_entry}")
  endif()
  foreach(shard RANGE 1 ${shards})
    set(name ${suite})
    if(shards GREATER 1)
      string(APPEND name .${shard})
    endif()
    if(code_page)
      string(APPEND name .${code_page})
    endif()
    math(EXPR index "${shard} - 1")
    add_suite_entry(${name} ${suite} ${index} ${shards})
  endforeach()
endforeach()
