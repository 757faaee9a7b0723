// The frame of tests that call mapi32.dll as a program would. The module reads its fault plan at
// the first call, so each test needs a process of its own: isolated_main.cpp sees to that.
#pragma once

#include <gtest/gtest.h>
#include <mapix.h>
#include <windows.h>

#include <string>
#include <utility>

#include "lab/common/fault_plan.h"
#include "lab/common/installation.h"
#include "lab/common/journal.h"
#include "lab/tests/directory_test.h"
#include "src/platform/com.h"

// Each test gets an empty profile too. It fails when the journal tells of more or
// of fewer leaks and unexpected calls than it has announced.
class ModuleTest : public DirectoryTest {
 protected:
  void SetUp() override { profile_.Delete(); }
  void TearDown() override {
    End();
    profile_.Delete();
    EXPECT_EQ(lab::Leaks(Journal()).size(), leaks_);
    EXPECT_EQ(lab::UnexpectedCalls(Journal()).size(), unexpected_);
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

  std::wstring name_ = L"QrvLabTest";
  const lab::Profile profile_{name_};
  size_t leaks_ = 0;
  size_t unexpected_ = 0;

 private:
  bool begun_ = false;
};
