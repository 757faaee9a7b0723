// The lab in the place of system functions: which calls it has fail, what it writes down, and that
// it keeps out of the way when it is not asked.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <string>

#include "lab/common/text.h"
#include "tests/e2e/common_lines.h"
#include "tests/e2e/support/directory.h"
#include "tests/e2e/support/lab_test.h"
#include "tests/e2e/support/output.h"

namespace e2e {
namespace {

constexpr char kNoManager[] = "ServiceStartSvc. OpenSCManager failed (5)";

class SystemCallsTest : public LabTest {
 protected:
  // A run that has nothing to do but to start the controller service.
  std::string RunRestart() { return Run("-purgeQsf -f -c"); }

  static std::string Clean() { return Text({kNoController, kStartingController}); }

  bool JournalHasSystemCalls() const {
    const auto journal = Journal();
    return std::any_of(journal.begin(), journal.end(), [](const lab::JournalEntry& entry) {
      return !entry.Argument("args").empty();
    });
  }
};

TEST_F(SystemCallsTest, APlannedCallFailsWithItsCodeAsTheLastError) {
  Faults().FailNth("OpenSCManagerW", 1, ERROR_ACCESS_DENIED);
  EXPECT_EQ(RunRestart(), Text({kNoManager, kStartingController}));
  const auto calls = Calls("OpenSCManagerW");
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].Argument("injected"), "yes");
  EXPECT_EQ(calls[0].Argument("args"), "0x0,0x0,0xf003f");
  EXPECT_EQ(calls[0].result, 0U);
}

TEST_F(SystemCallsTest, WhatReturnsItsErrorReturnsThePlans) {
  Faults().FailNth("CoInitialize", 1, 0x80004005);
  EXPECT_EQ(Run("-purgeQsf"), Text({"PurgeQsf: CoInitialize failed : 0x80004005"}));
  EXPECT_EQ(Calls("CoInitialize").at(0).result, 0x80004005U);
}

TEST_F(SystemCallsTest, ARuleMeansOneCallAllOrThoseWithAText) {
  Faults().FailNth("OpenServiceW", 2, ERROR_ACCESS_DENIED);
  EXPECT_EQ(RunRestart(), Clean());
  Faults() = lab::FaultPlan().FailEach("OpenServiceW", ERROR_ACCESS_DENIED);
  EXPECT_EQ(RunRestart(), Text({"ServiceStartSvc. OpenService failed (5)", kStartingController}));
  Faults() = lab::FaultPlan().FailMatching("OpenServiceW", L"berry control", ERROR_BUSY);
  EXPECT_EQ(RunRestart(), Text({"ServiceStartSvc. OpenService failed (170)", kStartingController}));
  Faults() = lab::FaultPlan().FailMatching("OpenServiceW", L"spooler", ERROR_BUSY);
  EXPECT_EQ(RunRestart(), Clean());
}

TEST_F(SystemCallsTest, ACallThatTakesItsTimeGoesOn) {
  Faults().DelayNth("OpenServiceW", 1, 700);
  const RunResult result = RunAdmin("-purgeQsf -f -c");
  EXPECT_EQ(result.output, Clean());
  EXPECT_GE(result.elapsed, std::chrono::milliseconds(700));
}

TEST_F(SystemCallsTest, TheJournalHasEachCallWhenThePlanAsks) {
  Faults().JournalSystemCalls();
  EXPECT_EQ(RunRestart(), Clean());
  EXPECT_EQ(Calls("OpenSCManagerW").size(), 1U);
  EXPECT_NE(Calls("OpenSCManagerW").at(0).result, 0U);
  ASSERT_EQ(Calls("OpenServiceW").size(), 1U);
  EXPECT_EQ(Calls("OpenServiceW").at(0).Argument("text"), "BlackBerry Controller");
  EXPECT_EQ(Calls("OpenServiceW").at(0).result, 0U);
  EXPECT_EQ(Calls("CoInitialize").size(), 1U);
  EXPECT_EQ(Calls("CoUninitialize").size(), 1U);
}

TEST_F(SystemCallsTest, OneFunctionInThePlanLeavesTheOthersUnwritten) {
  Faults().FailNth("OpenServiceW", 1, ERROR_BUSY);
  RunRestart();
  EXPECT_EQ(Calls("OpenServiceW").size(), 1U);
  EXPECT_TRUE(Calls("OpenSCManagerW").empty());
}

TEST_F(SystemCallsTest, WithoutARuleForThemNoneIsTouched) {
  EXPECT_EQ(RunRestart(), Clean());
  EXPECT_FALSE(JournalHasSystemCalls());
  ClearJournal();
  Faults().FailNth("MAPILogonEx", 1, 0x80004005).FailNth("*", 1000, 0x80004005);
  EXPECT_EQ(RunRestart(), Clean());
  EXPECT_FALSE(JournalHasSystemCalls());
}

TEST_F(SystemCallsTest, ANameThatIsNoFunctionReachesNothing) {
  Faults().FailEach("OpenSCManagerZ", ERROR_ACCESS_DENIED).FailEach("opensCmanagerw", ERROR_BUSY);
  EXPECT_EQ(RunRestart(), Clean());
  EXPECT_FALSE(JournalHasSystemCalls());
}

TEST_F(SystemCallsTest, TheyDoNotCountAmongTheCallsOfAnything) {
  RunRestart();
  const uint32_t calls = lab::CountFaultableCalls(Journal());
  ClearJournal();
  Faults().JournalSystemCalls();
  RunRestart();
  EXPECT_EQ(lab::CountFaultableCalls(Journal()), calls);
}

TEST_F(SystemCallsTest, TheProgramInTheLabIsTheShippedOneByteForByte) {
  const auto built = LabBinaries().parent_path() / L"bin" / ShippedProgram().filename();
  const auto shipped = lab::ReadWholeFile(built.wstring());
  ASSERT_TRUE(shipped.has_value());
  EXPECT_TRUE(*shipped == lab::ReadWholeFile(ShippedProgram().wstring()));
}

}  // namespace
}  // namespace e2e
