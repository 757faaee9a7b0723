// The main function of tests that load the lab's modules, which read their plans once in a process.
// Without arguments it runs each case in a process of its own; with any it is GoogleTest's own
// main.
#include <gtest/gtest.h>
#include <process.h>

#include <cstdio>
#include <string>

namespace {

// Returns whether the case has passed.
bool RunAlone(const char* program, const ::testing::TestInfo& test) {
  const std::string filter =
      std::string("--gtest_filter=") + test.test_suite_name() + '.' + test.name();
  const intptr_t code = _spawnl(_P_WAIT, program, "tests", filter.c_str(), nullptr);
  if (code != 0) std::printf("failed with %d: %s\n", static_cast<int>(code), filter.c_str());
  std::fflush(stdout);
  return code == 0;
}

int RunEachAlone(const char* program) {
  int failed = 0;
  const ::testing::UnitTest& tests = *::testing::UnitTest::GetInstance();
  for (int i = 0; i < tests.total_test_suite_count(); ++i) {
    const ::testing::TestSuite& suite = *tests.GetTestSuite(i);
    for (int j = 0; j < suite.total_test_count(); ++j) {
      if (!RunAlone(program, *suite.GetTestInfo(j))) ++failed;
    }
  }
  std::printf("%d of %d cases failed\n", failed, tests.total_test_count());
  return failed == 0 && tests.total_test_count() != 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const bool each = argc == 1;
  ::testing::InitGoogleTest(&argc, argv);
  return each ? RunEachAlone(argv[0]) : RUN_ALL_TESTS();
}
