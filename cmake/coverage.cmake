# The product's own objects count how often their lines run, and are not optimised, so that a line is a
# line. Included behind src; what is made later is compiled as it is for a release.
foreach(target IN ITEMS qrvadmin_core qrvrun_core qrvadmin qrvrun)
  target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic -O0 -g0)
endforeach()
# Into every program with the library in it.
target_link_options(qrvadmin_core INTERFACE --coverage)
target_sources(qrvadmin_core INTERFACE ${CMAKE_CURRENT_LIST_DIR}/coverage_dump.cpp)
