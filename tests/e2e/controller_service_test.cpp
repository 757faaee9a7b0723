// The start of the controller service, by a command that does nothing else.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/e2e/command_lab_test.h"

namespace e2e {
namespace {

using lab::ControllerState;

class ControllerServiceTest : public CommandLabTest {
 protected:
  // Runs a command that has nothing to do but to start the service.
  std::string RunRestart() { return Run("-purgeQsf -f -c"); }

  size_t Starts() const { return Calls("Controller::Start").size(); }
};

TEST_F(ControllerServiceTest, AStoppedServiceStartsWithoutAWordOfItsOwn) {
  SetController(ControllerState::kStopped);
  EXPECT_EQ(RunRestart(), Text({kStartingController}));
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
  EXPECT_EQ(Starts(), 1U);
}

TEST_F(ControllerServiceTest, AnAbsentServiceIsTold) {
  EXPECT_EQ(RunRestart(),
            Text({"ServiceStartSvc. OpenService failed (1060)", kStartingController}));
}

// The closing bracket has no opening one.
TEST_F(ControllerServiceTest, ARunningServiceIsToldWithItsState) {
  SetController(ControllerState::kRunning);
  const size_t starts = Starts();
  EXPECT_EQ(RunRestart(), Text({"ServiceStartSvc. Service is already running, currentState=4)",
                                kStartingController}));
  EXPECT_EQ(Starts(), starts);
}

TEST_F(ControllerServiceTest, APausedServiceCountsAsRunning) {
  SetController(ControllerState::kPaused);
  EXPECT_EQ(RunRestart(), Text({"ServiceStartSvc. Service is already running, currentState=7)",
                                kStartingController}));
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_PAUSED});
}

TEST_F(ControllerServiceTest, AServiceThatIsStartingCountsAsRunningAndIsNotWaitedFor) {
  SetController(ControllerState::kStartPending);
  const RunResult result = RunAdmin("-purgeQsf -f -c");
  EXPECT_EQ(result.output, Text({"ServiceStartSvc. Service is already running, currentState=2)",
                                 kStartingController}));
  EXPECT_LT(result.elapsed, std::chrono::seconds(10));
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_START_PENDING});
}

TEST_F(ControllerServiceTest, AServiceWithoutItsProgramDoesNotStart) {
  SetController(ControllerState::kBroken);
  EXPECT_EQ(RunRestart(), Text({"ServiceStartSvc. StartService failed (2)", kStartingController}));
}

TEST_F(ControllerServiceTest, ADisabledServiceDoesNotStart) {
  SetController(ControllerState::kDisabled);
  EXPECT_EQ(RunRestart(),
            Text({"ServiceStartSvc. StartService failed (1058)", kStartingController}));
}

TEST_F(ControllerServiceTest, TheSecondRunFindsItRunning) {
  SetController(ControllerState::kStopped);
  EXPECT_EQ(RunRestart(), Text({kStartingController}));
  ASSERT_TRUE(lab::WaitForController(SERVICE_RUNNING));
  EXPECT_EQ(RunRestart(), Text({"ServiceStartSvc. Service is already running, currentState=4)",
                                kStartingController}));
  EXPECT_EQ(Starts(), 1U);
}

TEST_F(ControllerServiceTest, VerboseAddsNothing) {
  EXPECT_EQ(Run("-purgeQsf -f -c -v"),
            Text({"ServiceStartSvc. OpenService failed (1060)", kStartingController, "Exiting."}));
}

}  // namespace
}  // namespace e2e
