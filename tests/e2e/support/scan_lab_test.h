// The frame of a test of the scan command, in its two forms.
//
//   TEST_F(RepairToolTest, RepairsADamagedStore) {
//     const std::wstring file = AddDamaged(L"ann", lab::QsfDamage::kChecksum);
//     EXPECT_EQ(Run("-scanQsf -p Main"), Text({...}));
//   }
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "lab/common/qsf_file.h"
#include "lab/repair/repair_plan.h"
#include "lab/stub/stub_control.h"
#include "lab/stub/stub_plan.h"
#include "tests/e2e/support/lab_test.h"

namespace e2e {

// Each test finds no Outlook registered, and in the system directory the lab's MAPI stub, which
// answers with a directory of the test's own: there lie the provider and the repair tool. A test
// leaves none of it, and no repair tool running.
class ScanLabTest : public LabTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  // What a copy of the program named qsfscan.exe prints, and its exit code behind it. It must print
  // nothing on standard error.
  std::string RunUtility(const Words& arguments, RunOptions options = {});

  // A copy of the program under another name, in a directory with the lab's MAPI and no provider.
  std::filesystem::path CopyProgram(const std::wstring& name) const;
  std::wstring ProgramDirectory() const { return StorePath(L"bin"); }

  // Where the MAPI stub says that Outlook's MAPI lies, and the provider there.
  std::wstring OutlookDirectory() const { return StorePath(L"outlook"); }
  std::wstring ProviderPath() const { return OutlookDirectory() + L"\\mspst32.dll"; }

  // A store that Add makes, with damage; returns its file.
  std::wstring AddDamaged(const std::wstring& name, lab::QsfDamage damage) const;

  // The files of the profile's stores as the registry orders them: the first to be worked on ...
  std::vector<std::wstring> Files() const;

  // Changes what lies in the system directory, and what the stub there answers.
  void SetStub(lab::StubPlace place, lab::StubState state, const wchar_t* library = L"");
  void PlanStub(const lab::StubPlan& plan) const;
  // How the repair tool behaves in the runs to come.
  void PlanTool(const lab::RepairOptions& options) const;
  void PlanTool(const lab::RepairPlan& plan) const;

  static bool Exists(const std::wstring& path);
  // Whether the store file has nothing to repair.
  static bool IsSound(const std::wstring& path);

 private:
  std::vector<std::unique_ptr<lab::StubGuard>> stubs_;
};

}  // namespace e2e
