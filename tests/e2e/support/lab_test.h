// The frame of a test that runs the shipped executable in the lab.
//
//   TEST_F(FindUsersTest, ShowsTheStore) {
//     lab::Profile profile(L"Main");
//     profile.AddRootStore(L"bes@example.com", StorePath(L"bes.qsf"));
//     EXPECT_EQ(Run({L"-findUsers", L"-p", L"Main", L"-e", L"bes"}), Text({...}));
//   }
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "lab/common/fault_plan.h"
#include "lab/common/journal.h"
#include "lab/controller/controller_control.h"
#include "tests/e2e/support/directory.h"
#include "tests/e2e/support/lists.h"
#include "tests/e2e/support/program.h"

namespace e2e {

// How many milliseconds a call takes during which a test presses Ctrl+C. A busy machine needs some
// to bring it to the program.
inline constexpr uint32_t kTimeForCtrlC = 5000;

// Each test gets a lab directory of its own and finds no profile and no controller service; it
// leaves none. A test fails when the lab's journal tells of a leak or of an unexpected call.
class LabTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Runs the shipped executable, or the options' program, in the lab under the fault plan.
  RunResult RunAdmin(const Words& arguments, RunOptions options = {});
  RunningProgram StartAdmin(const Words& arguments, RunOptions options = {});

  // What a run prints that must end with code 0 and print nothing on standard error.
  std::string Run(const Words& arguments, RunOptions options = {});

  // The plan for the runs to come; each run begins to count anew.
  lab::FaultPlan& Faults() { return faults_; }

  // What the runs so far have journalled, since the last ClearJournal.
  std::vector<lab::JournalEntry> Journal() const;
  std::vector<lab::JournalEntry> Calls(std::string_view call) const;
  // Starts the journal anew. What was in it is checked for leaks and unexpected calls first.
  void ClearJournal();

  // The lab's directory, and a file for a store in it.
  const std::filesystem::path& Directory() const { return directory_.Path(); }
  std::wstring StorePath(const std::wstring& fileName) const;

  // Puts the controller service into a state; it is absent at first.
  void SetController(lab::ControllerState state);

  // For behaviour that leaves objects behind, or calls what nothing else calls, by design.
  void AllowLeaks() { leaksAllowed_ = true; }
  void AllowUnexpectedCalls() { unexpectedAllowed_ = true; }

  // What a program needs in its environment to meet the lab.
  virtual RunOptions Prepare(RunOptions options) const;

 private:
  void CheckJournal() const;
  void RemoveInstallation() const;

  TempDirectory directory_;
  lab::FaultPlan faults_;
  bool leaksAllowed_ = false;
  bool unexpectedAllowed_ = false;
};

}  // namespace e2e
