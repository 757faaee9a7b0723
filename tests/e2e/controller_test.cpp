// The lab's controller service, in every state that the product can meet.
#include "lab/controller/controller_control.h"

#include <gtest/gtest.h>

#include <optional>
#include <utility>
#include <vector>

#include "lab/common/journal.h"
#include "lab/common/lab_config.h"
#include "tests/e2e/support/directory.h"
#include "tests/e2e/support/temp_directory.h"

namespace e2e {
namespace {

using lab::ControllerState;

class ControllerTest : public ::testing::Test {
 protected:
  ~ControllerTest() override { EXPECT_TRUE(lab::RemoveController()); }

  void Set(ControllerState state) {
    ASSERT_TRUE(
        lab::SetController(state, LabBinaries() / L"controller.exe", directory_.Path().wstring()))
        << "error " << GetLastError();
  }

  // The outcome of a start as the product would see it.
  static DWORD StartError() {
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    const SC_HANDLE service = OpenServiceW(manager, lab::kControllerService, SERVICE_ALL_ACCESS);
    const DWORD error = StartServiceW(service, 0, nullptr) ? ERROR_SUCCESS : GetLastError();
    CloseServiceHandle(service);
    CloseServiceHandle(manager);
    return error;
  }

  size_t Starts() const {
    const auto journal = lab::ReadJournal(lab::JournalPath(directory_.Path().wstring()));
    return lab::CallsOf(journal, "Controller::Start").size();
  }

 private:
  TempDirectory directory_;
};

TEST_F(ControllerTest, AStoppedServiceStartsAndIsJournalled) {
  Set(ControllerState::kStopped);
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
  EXPECT_EQ(StartError(), DWORD{ERROR_SUCCESS});
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
  EXPECT_EQ(Starts(), 1U);
}

TEST_F(ControllerTest, ARunningServiceIsNotStartedAgain) {
  Set(ControllerState::kRunning);
  EXPECT_EQ(StartError(), DWORD{ERROR_SERVICE_ALREADY_RUNNING});
}

TEST_F(ControllerTest, ABrokenServiceFailsToStart) {
  Set(ControllerState::kBroken);
  EXPECT_EQ(StartError(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(ControllerTest, ADisabledServiceFailsToStart) {
  Set(ControllerState::kDisabled);
  EXPECT_EQ(StartError(), DWORD{ERROR_SERVICE_DISABLED});
}

TEST_F(ControllerTest, ARunningServiceIsBroughtIntoEveryState) {
  const std::vector<std::pair<ControllerState, std::optional<DWORD>>> states = {
      {ControllerState::kAbsent, std::nullopt},
      {ControllerState::kStopped, SERVICE_STOPPED},
      {ControllerState::kRunning, SERVICE_RUNNING},
      {ControllerState::kPaused, SERVICE_PAUSED},
      {ControllerState::kStartPending, SERVICE_START_PENDING},
      {ControllerState::kBroken, SERVICE_STOPPED},
      {ControllerState::kDisabled, SERVICE_STOPPED}};
  for (const auto& [state, status] : states) {
    SCOPED_TRACE(static_cast<int>(state));
    Set(ControllerState::kRunning);
    Set(state);
    EXPECT_EQ(lab::QueryController(), status);
  }
}

}  // namespace
}  // namespace e2e
