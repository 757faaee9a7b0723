// The start of the controller service, by a command that does nothing else.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/e2e/command_lab_test.h"

namespace e2e {
namespace {

using lab::ControllerState;

const char kStarting[] = "Starting BlackBerry Controller Service.";

class ControllerServiceTest : public CommandLabTest {
 protected:
  // Runs a command that has nothing to do but to start the service.
  std::string RunRestart() { return Run({L"-purgeQsf", L"-f", L"-c"}); }

  size_t Starts() const { return Calls("Controller::Start").size(); }
};

TEST_F(ControllerServiceTest, AStoppedServiceStartsWithoutAWordOfItsOwn) {
  SetController(ControllerState::kStopped);
  EXPECT_EQ(RunRestart(), Text({kStarting}));
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
  EXPECT_EQ(Starts(), 1U);
}

TEST_F(ControllerServiceTest, AnAbsentServiceIsTold) {
  EXPECT_EQ(RunRestart(), Text({"ServiceStartSvc. OpenService failed (1060)", kStarting}));
}

// The closing bracket has no opening one.
TEST_F(ControllerServiceTest, ARunningServiceIsToldWithItsState) {
  SetController(ControllerState::kRunning);
  const size_t starts = Starts();
  EXPECT_EQ(RunRestart(),
            Text({"ServiceStartSvc. Service is already running, currentState=4)", kStarting}));
  EXPECT_EQ(Starts(), starts);
}

TEST_F(ControllerServiceTest, APausedServiceCountsAsRunning) {
  SetController(ControllerState::kPaused);
  EXPECT_EQ(RunRestart(),
            Text({"ServiceStartSvc. Service is already running, currentState=7)", kStarting}));
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_PAUSED});
}

TEST_F(ControllerServiceTest, AServiceThatIsStartingCountsAsRunningAndIsNotWaitedFor) {
  SetController(ControllerState::kStartPending);
  const RunResult result = RunAdmin({L"-purgeQsf", L"-f", L"-c"});
  EXPECT_EQ(result.output,
            Text({"ServiceStartSvc. Service is already running, currentState=2)", kStarting}));
  EXPECT_LT(result.elapsed, std::chrono::seconds(10));
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_START_PENDING});
}

TEST_F(ControllerServiceTest, AServiceWithoutItsProgramDoesNotStart) {
  SetController(ControllerState::kBroken);
  EXPECT_EQ(RunRestart(), Text({"ServiceStartSvc. StartService failed (2)", kStarting}));
}

TEST_F(ControllerServiceTest, ADisabledServiceDoesNotStart) {
  SetController(ControllerState::kDisabled);
  EXPECT_EQ(RunRestart(), Text({"ServiceStartSvc. StartService failed (1058)", kStarting}));
}

TEST_F(ControllerServiceTest, TheSecondRunFindsItRunning) {
  SetController(ControllerState::kStopped);
  EXPECT_EQ(RunRestart(), Text({kStarting}));
  ASSERT_TRUE(lab::WaitForController(SERVICE_RUNNING));
  EXPECT_EQ(RunRestart(),
            Text({"ServiceStartSvc. Service is already running, currentState=4)", kStarting}));
  EXPECT_EQ(Starts(), 1U);
}

TEST_F(ControllerServiceTest, VerboseAddsNothing) {
  EXPECT_EQ(Run({L"-purgeQsf", L"-f", L"-c", L"-v"}),
            Text({"ServiceStartSvc. OpenService failed (1060)", kStarting, "Exiting."}));
}

}  // namespace
}  // namespace e2e
