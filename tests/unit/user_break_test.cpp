#include "src/console/user_break.h"

#include <gtest/gtest.h>

#include "tests/unit/captured_output.h"
#include "tests/unit/failing_allocation.h"

namespace {

// The program's shared state as it is at the start of a run.
class UserBreakTest : public ::testing::Test {
 protected:
  UserBreakTest() { InitializeCriticalSection(&UserBreakLock); }
  ~UserBreakTest() override {
    SetBreak(0);
    DeleteCriticalSection(&UserBreakLock);
  }

  static void SetBreak(std::uint32_t value) {
    const platform::CriticalSectionGuard guard(UserBreakLock);
    UserBreak = value;
  }
};

TEST_F(UserBreakTest, IsNotRequestedAtTheStart) { EXPECT_FALSE(UserBreakRequested()); }

TEST_F(UserBreakTest, CtrlCIsNotedWithALineAndSwallowed) {
  const CapturedOutput output;
  EXPECT_EQ(ConsoleCtrlHandler(CTRL_C_EVENT), TRUE);
  EXPECT_TRUE(UserBreakRequested());
  EXPECT_EQ(output.Text(), L"*User Break\n");
}

TEST_F(UserBreakTest, CtrlCIsNotedWithoutMemoryForItsLine) {
  const CapturedOutput output;
  BOOL handled = FALSE;
  {
    const FailingAllocation noMemory(1);
    EXPECT_NO_THROW(handled = ConsoleCtrlHandler(CTRL_C_EVENT));
  }
  EXPECT_EQ(handled, TRUE);
  EXPECT_TRUE(UserBreakRequested());
  EXPECT_EQ(output.Text(), L"");
}

TEST_F(UserBreakTest, EveryOtherEventIsLeftToTheSystem) {
  const CapturedOutput output;
  for (const DWORD event :
       {CTRL_BREAK_EVENT, CTRL_CLOSE_EVENT, CTRL_LOGOFF_EVENT, CTRL_SHUTDOWN_EVENT}) {
    EXPECT_EQ(ConsoleCtrlHandler(event), FALSE) << event;
  }
  EXPECT_FALSE(UserBreakRequested());
  EXPECT_EQ(output.Text(), L"");
}

TEST_F(UserBreakTest, TheHandlerStaysHandledWhenInstalledTwice) {
  const CapturedOutput output;
  InstallConsoleCtrlHandler();
  InstallConsoleCtrlHandler();
  EXPECT_EQ(output.Text(), L"");
  SetConsoleCtrlHandler(ConsoleCtrlHandler, FALSE);
  SetConsoleCtrlHandler(ConsoleCtrlHandler, FALSE);
}

TEST_F(UserBreakTest, InstallingIsAnnouncedInVerboseModeOnly) {
  const CapturedOutput output;
  VerboseOutput = 1;
  InstallConsoleCtrlHandler();
  VerboseOutput = 0;
  InstallConsoleCtrlHandler();
  EXPECT_EQ(output.Text(), L"The Control Handler is installed.\n");
  SetConsoleCtrlHandler(ConsoleCtrlHandler, FALSE);
  SetConsoleCtrlHandler(ConsoleCtrlHandler, FALSE);
}

}  // namespace
