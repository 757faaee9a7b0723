// The frame of a test that runs the shipped executable in the lab.
//
//   TEST_F(FindUsersTest, ShowsTheStore) {
//     AddEmbedded(L"bob", Add(L"ann", {.order = 10}));
//     EXPECT_EQ(Run("-findUsers -p Main -e bob"), Text({...}));
//   }
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "lab/common/fault_plan.h"
#include "lab/common/installation.h"
#include "lab/common/journal.h"
#include "lab/controller/controller_control.h"
#include "tests/e2e/support/directory.h"
#include "tests/e2e/support/lists.h"
#include "tests/e2e/support/program.h"
#include "tests/e2e/support/temp_directory.h"

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

  // Each adds a store to the profile: the root's of "bes", or one of `name` in the file <name>.qsf,
  // embedded in another, or embedded without the one that it is embedded in. The address has the
  // frame's domain; a name with an at sign is a whole address.
  lab::Service AddRoot(const lab::StoreOptions& options = {}) const;
  lab::Service Add(const std::wstring& name, const lab::StoreOptions& options = {}) const;
  lab::Service AddEmbedded(const std::wstring& name, const lab::Service& parent,
                           const lab::StoreOptions& options = {}) const;
  lab::Service AddOrphan(const std::wstring& name, const lab::StoreOptions& options = {}) const;

  // The lab's directory, a file for a store in it, and the file of a store that Add makes.
  const std::filesystem::path& Directory() const { return directory_.Path(); }
  std::wstring StorePath(const std::wstring& fileName) const;
  std::wstring FileOf(const std::wstring& name) const;

  // Puts the controller service into a state; it is absent at first.
  void SetController(lab::ControllerState state);

  // For behaviour that leaves objects behind, or calls what nothing else calls, by design.
  void AllowLeaks() { leaksAllowed_ = true; }
  void AllowUnexpectedCalls() { unexpectedAllowed_ = true; }

  // What a program needs in its environment to meet the lab.
  virtual RunOptions Prepare(RunOptions options) const;

  lab::Profile profile_{L"Main"};
  std::wstring domain_ = L"@example.com";

 private:
  std::wstring AddressOf(const std::wstring& name) const;
  void CheckJournal() const;
  void RemoveInstallation() const;

  TempDirectory directory_;
  lab::FaultPlan faults_;
  bool leaksAllowed_ = false;
  bool unexpectedAllowed_ = false;
};

}  // namespace e2e
