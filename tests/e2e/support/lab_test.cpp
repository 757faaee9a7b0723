#include "tests/e2e/support/lab_test.h"

#include <algorithm>
#include <iostream>
#include <utility>

#include "lab/common/lab_config.h"
#include "lab/common/profile_registry.h"

namespace e2e {
namespace {

// How much of the journal a failed test shows.
constexpr size_t kShownJournalLines = 60;

void ShowEnd(const std::vector<lab::JournalEntry>& journal) {
  const size_t first = journal.size() - std::min(journal.size(), kShownJournalLines);
  std::cout << "the journal's end (" << journal.size() << " lines in all):\n";
  for (size_t index = first; index < journal.size(); ++index) {
    std::cout << lab::FormatJournalLine(journal[index]) << '\n';
  }
}

void ExpectNone(const Strings& finds, const char* what) {
  for (const std::string& find : finds) {
    ADD_FAILURE() << what << ": " << find;
  }
}

}  // namespace

void LabTest::SetUp() { RemoveInstallation(); }

void LabTest::TearDown() {
  CheckJournal();
  if (HasFailure()) {
    ShowEnd(Journal());
  }
  RemoveInstallation();
}

RunResult LabTest::RunAdmin(const Words& arguments, RunOptions options) {
  return RunProgram(arguments, Prepare(std::move(options)));
}

RunningProgram LabTest::StartAdmin(const Words& arguments, RunOptions options) {
  return RunningProgram::Start(arguments, Prepare(std::move(options)));
}

std::string LabTest::Run(const Words& arguments, RunOptions options) {
  const RunResult result = RunAdmin(arguments, std::move(options));
  EXPECT_EQ(result.exitCode, 0U);
  EXPECT_EQ(result.errorOutput, "");
  return result.output;
}

std::vector<lab::JournalEntry> LabTest::Journal() const {
  return lab::ReadJournal(lab::JournalPath(Directory().wstring()));
}

std::vector<lab::JournalEntry> LabTest::Calls(std::string_view call) const {
  return lab::CallsOf(Journal(), call);
}

void LabTest::ClearJournal() {
  CheckJournal();
  std::filesystem::remove(lab::JournalPath(Directory().wstring()));
}

lab::Service LabTest::AddRoot(const lab::StoreOptions& options) const {
  return profile_.AddRootStore(AddressOf(L"bes"), FileOf(L"bes"), options);
}

lab::Service LabTest::Add(const std::wstring& name, const lab::StoreOptions& options) const {
  return profile_.AddSecondaryStore(AddressOf(name), FileOf(name), options);
}

lab::Service LabTest::AddEmbedded(const std::wstring& name, const lab::Service& parent,
                                  const lab::StoreOptions& options) const {
  return profile_.AddEmbeddedStore(AddressOf(name), parent, options);
}

lab::Service LabTest::AddOrphan(const std::wstring& name, const lab::StoreOptions& options) const {
  return profile_.AddOrphan(AddressOf(name), options);
}

std::wstring LabTest::StorePath(const std::wstring& fileName) const {
  return (Directory() / fileName).wstring();
}

std::wstring LabTest::FileOf(const std::wstring& name) const {
  return StorePath(name.substr(0, name.find(L'@')) + L".qsf");
}

void LabTest::SetController(lab::ControllerState state) {
  const std::wstring program = LabBinaries() / L"controller.exe";
  ASSERT_TRUE(lab::SetController(state, program, Directory().wstring()))
      << "error " << GetLastError();
}

RunOptions LabTest::Prepare(RunOptions options) const {
  EXPECT_TRUE(faults_.Save(Directory().wstring()));
  options.environment.emplace(L"QRVLAB_DIR", Directory().wstring());
  return options;
}

std::wstring LabTest::AddressOf(const std::wstring& name) const {
  return name.find(L'@') == std::wstring::npos ? name + domain_ : name;
}

void LabTest::CheckJournal() const {
  const std::vector<lab::JournalEntry> journal = Journal();
  if (!leaksAllowed_) {
    ExpectNone(lab::Leaks(journal), "leak");
  }
  if (!unexpectedAllowed_) {
    ExpectNone(lab::UnexpectedCalls(journal), "unexpected call");
  }
}

void LabTest::RemoveInstallation() const {
  for (const std::wstring& profile : lab::ListProfiles()) {
    EXPECT_TRUE(lab::DeleteProfile(profile));
  }
  EXPECT_TRUE(lab::RemoveController());
}

}  // namespace e2e
