// The frame of tests that call mapi32.dll as a program would. The module reads its fault plan at
// the first call, so each test needs a process of its own, which is how ctest runs them.
#pragma once

#include <gtest/gtest.h>
#include <mapix.h>
#include <windows.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "lab/common/fault_plan.h"
#include "lab/common/installation.h"
#include "lab/common/journal.h"
#include "lab/common/lab_config.h"
#include "src/platform/com.h"

// Each test gets a lab directory and an empty profile. It fails when the journal tells of more or
// of fewer leaks and unexpected calls than it has announced.
class ModuleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directory(directory_);
    SetEnvironmentVariableW(L"QRVLAB_DIR", directory_.c_str());
    profile_.Delete();
  }
  void TearDown() override {
    End();
    profile_.Delete();
    EXPECT_EQ(lab::Leaks(Journal()).size(), leaks_);
    EXPECT_EQ(lab::UnexpectedCalls(Journal()).size(), unexpected_);
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }

  // Saves the plan and initialises MAPI on this thread, until End.
  void Begin(const lab::FaultPlan& plan = {}) {
    ASSERT_TRUE(plan.Save(directory_));
    ASSERT_EQ(MAPIInitialize(nullptr), S_OK);
    begun_ = true;
  }
  void End() {
    if (std::exchange(begun_, false)) MAPIUninitialize();
  }

  LPTSTR Name() { return reinterpret_cast<LPTSTR>(name_.data()); }

  // The administration of the profile's services.
  HRESULT OpenAdmin(LPSERVICEADMIN* admin) {
    platform::ComPtr<IProfAdmin> profiles;
    const HRESULT result = MAPIAdminProfiles(0, &profiles);
    if (FAILED(result)) return result;
    return profiles->AdminServices(Name(), nullptr, 0, MAPI_UNICODE, admin);
  }

  std::wstring FilePath(const wchar_t* name) const { return directory_ + L'\\' + name; }

  std::vector<lab::JournalEntry> Journal() const {
    return lab::ReadJournal(lab::JournalPath(directory_));
  }

  std::wstring name_ = L"QrvLabTest";
  const std::wstring directory_ = (std::filesystem::temp_directory_path() /
                                   (L"qrvlab" + std::to_wstring(GetCurrentProcessId())))
                                      .wstring();
  const lab::Profile profile_{name_};
  size_t leaks_ = 0;
  size_t unexpected_ = 0;

 private:
  bool begun_ = false;
};
