#include "tests/e2e/support/scan_lab_test.h"

#include <utility>

#include "lab/common/profile_registry.h"
#include "lab/common/text.h"
#include "lab/repair/repair_control.h"
#include "tests/e2e/support/output.h"

namespace e2e {

void ScanLabTest::SetUp() {
  lab::KeepDesktopWarm();
  lab::EndRepairTools();
  ASSERT_TRUE(lab::WriteOutlookVersion(std::nullopt));
  LabTest::SetUp();
  ASSERT_TRUE(lab::PlaceRepairTool(OutlookDirectory(), LabBinaries() / L"SCANPST.EXE"));
  SetStub(lab::StubPlace::kMapistub, lab::StubState::kPlaced, L"mapistub.dll");
  PlanStub(lab::StubPlan().Path("*", lab::NarrowFromWide(OutlookDirectory()) + "\\olmapi32.dll"));
}

void ScanLabTest::TearDown() {
  EXPECT_EQ(lab::EndRepairTools(), 0U) << "repair tools were left running";
  LabTest::TearDown();
  EXPECT_TRUE(lab::WriteOutlookVersion(std::nullopt));
  stubs_.clear();
}

std::string ScanLabTest::RunUtility(const Words& arguments, RunOptions options) {
  options.program = CopyProgram(L"qsfscan.exe");
  const RunResult result = RunAdmin(arguments, std::move(options));
  EXPECT_EQ(result.errorOutput, "");
  return result.output + std::to_string(result.exitCode);
}

std::filesystem::path ScanLabTest::CopyProgram(const std::wstring& name) const {
  std::filesystem::create_directories(ProgramDirectory());
  return CopyShippedProgram(ProgramDirectory(), name);
}

std::wstring ScanLabTest::AddDamaged(const std::wstring& name, lab::QsfDamage damage) const {
  std::wstring file = Add(name).Path();
  EXPECT_TRUE(lab::DamageQsf(file, damage));
  return file;
}

std::vector<std::wstring> ScanLabTest::Files() const {
  std::vector<std::wstring> files;
  for (const lab::Uid& section : lab::ListSections(profile_.Name())) {
    const auto path = lab::ReadText(profile_.Name(), section, lab::kTagStorePath);
    if (path) files.push_back(*path);
  }
  return files;
}

void ScanLabTest::SetStub(lab::StubPlace place, lab::StubState state, const wchar_t* library) {
  stubs_.push_back(
      std::make_unique<lab::StubGuard>(place, state, LabBinaries() / L"stub" / library));
  ASSERT_TRUE(stubs_.back()->Done()) << "error " << GetLastError();
}

void ScanLabTest::PlanStub(const lab::StubPlan& plan) const {
  ASSERT_TRUE(plan.Save(Directory().wstring()));
}

void ScanLabTest::PlanTool(const lab::RepairOptions& options) const {
  lab::RepairPlan plan;
  plan.options = options;
  PlanTool(plan);
}

void ScanLabTest::PlanTool(const lab::RepairPlan& plan) const {
  ASSERT_TRUE(plan.Save(Directory().wstring()));
}

bool ScanLabTest::Exists(const std::wstring& path) {
  return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool ScanLabTest::IsSound(const std::wstring& path) {
  std::vector<lab::QsfProblem> problems;
  return lab::CheckQsf(path, &problems) == lab::QsfStatus::kOk && problems.empty();
}

}  // namespace e2e
