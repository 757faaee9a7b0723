// One unattended run at a time, and what is left of one that is killed: nothing.
#include <iostream>
#include <random>

#include "lab/repair/repair_control.h"
#include "src/platform/handle.h"
#include "tests/e2e/run_frame.h"

namespace e2e {
namespace {

// Two at once.

class RunTurnsTest : public RunTest {
 protected:
  void SetUp() override {
    RunTest::SetUp();
    AddRoot();
    Faults().DelayNth("HrQueryAllRows@MsgServiceTable", 1, 8000);
  }

  RunningProgram StartSlowRun() {
    RunningProgram program = StartAdmin("-findUsers -v -p Main -e nobody");
    EXPECT_TRUE(program.WaitForOutput(std::string(kHandlerInstalled) + "\r\n"));
    return program;
  }
};

TEST_F(RunTurnsTest, TheSecondEndsAtOnceAndTheFirstGoesOn) {
  RunningProgram first = StartSlowRun();
  const RunResult second = ExpectRun(WithLog("-findUsers -v -p Main -e nobody"), {}, AtWork());
  EXPECT_TRUE(first.IsRunning());
  // Its tool has not begun.
  EXPECT_EQ(Calls("MAPIInitialize").size(), 1U);
  // The log says so too.
  const Strings lines = LogLines();
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_TRUE(lines[2].starts_with(AtWork().lines[0] + ", after "));
  Expect(first.Wait(), {kHandlerInstalled, "Exiting."}, Good());
  Faults() = {};
  ExpectRun("-findUsers -p Main -e nobody", {}, Good());
}

// The lock is the computer's: in a session's own name space it would be another.
TEST_F(RunTurnsTest, WhoeverHoldsTheComputersLockIsAtWork) {
  const platform::KernelHandle lock(CreateMutexW(nullptr, TRUE, L"Global\\qrvrun"));
  ASSERT_TRUE(lock);
  ExpectRun("-findUsers -p Main -e nobody", {}, AtWork());
  EXPECT_FALSE(ToolWasStarted());
}

TEST_F(RunTurnsTest, AfterOneThatWasKilledTheNextRuns) {
  AllowLeaks();
  RunningProgram first = StartSlowRun();
  first.KillAlone();
  ASSERT_TRUE(WaitForNoTools());
  Faults() = {};
  ExpectRun("-findUsers -p Main -e nobody", {}, Good());
}

// Kills at random moments.

class RunKilledTest : public RunStandInTest {
 protected:
  static constexpr int kKills = 25;

  // Kills so many runs, each after another time below `most`; returns how many of them had `tool`
  // running then.
  int Kill(const Words& words, const std::filesystem::path& program, int most,
           const std::function<bool()>& isAtWork) {
    AllowLeaks();
    const unsigned seed = std::random_device()();
    std::cout << "seed " << seed << '\n';
    std::mt19937 random(seed);
    int atWork = 0;
    for (int i = 0; i < kKills; ++i) {
      RunningProgram run = StartAdmin(words, {.program = program});
      Sleep(random() % static_cast<unsigned>(most));
      atWork += isAtWork() ? 1 : 0;
      run.KillAlone();
      const bool none = WaitForNoTools();
      EXPECT_TRUE(none) << "something is left of run " << i;
      if (!none) break;
    }
    lab::EndRepairTools();
    return atWork;
  }
};

TEST_F(RunKilledTest, NeitherTheToolNorTheRepairToolIsLeft) {
  Add(L"ann");
  PlanTool({.scanTime = 60000});
  const int atWork =
      Kill("-scanQsf -p Main", Runner(), 2500, [] { return !ProcessesOf(L"SCANPST.EXE").empty(); });
  EXPECT_GT(atWork, 0);
}

TEST_F(RunKilledTest, NoProcessOfAToolThatIgnoresCtrlCIsLeft) {
  const int atWork =
      Kill("refuse", {}, 800, [] { return ProcessesOf(L"qrvadmin.exe").size() == 2; });
  EXPECT_GT(atWork, 0);
}

}  // namespace
}  // namespace e2e
