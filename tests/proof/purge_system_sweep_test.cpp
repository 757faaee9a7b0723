// -purgeQsf with each call of a system function failing once. What is found in use is never
// deleted, whatever fails.
#include <gtest/gtest.h>
#include <windows.h>

#include <set>
#include <string>
#include <vector>

#include "lab/common/text.h"
#include "tests/e2e/purge_lab_test.h"
#include "tests/proof/system_sweep.h"

namespace e2e {
namespace {

// The names in a folder as a search hands them out.
Names Search(const std::wstring& pattern) {
  Names names;
  WIN32_FIND_DATAW entry = {};
  const HANDLE search = FindFirstFileW(pattern.c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) return names;
  do {
    names.emplace_back(entry.cFileName);
  } while (FindNextFileW(search, &entry));
  FindClose(search);
  return names;
}

std::string Lower(const std::wstring& text) { return lab::FoldAscii(Utf8FromWide(text)); }

// Two profiles with stores in three folders: one with nothing else in it, one with two unused
// files of which one has others beside it, one with one.
class PurgeFaultSweepTest : public SystemSweep<PurgeQsfTest> {
 protected:
  void Restore() override {
    for (const wchar_t* profile : {L"Main", L"Second"}) lab::Profile(profile).Delete();
    profile_.AddRootStore(L"bes@example.com", FileIn(L"a", L"bes.qsf"));
    const auto ann = profile_.AddSecondaryStore(L"ann@example.com", FileIn(L"b", L"ann.qsf"));
    profile_.AddEmbeddedStore(L"bob@example.com", ann);
    const lab::Profile second(L"Second");
    second.AddSecondaryStore(L"cid@example.com", FileIn(L"b", L"Cid.qsf"));
    second.AddSecondaryStore(L"dan@example.com", FileIn(L"c", L"dan.qsf"));
    for (const auto& [folder, name] : Unused()) Put(FileIn(folder, name));
    CreateDirectoryW(FileIn(L"b", L"folder.qsf").c_str(), nullptr);
    if (ControllerIsInstalled()) SetController(lab::ControllerState::kStopped);
    before_.clear();
    for (const wchar_t* folder : {L"a", L"b", L"c"}) {
      for (const std::wstring& name : lab::FilesIn(Folder(folder))) {
        before_.insert(FileIn(folder, name));
      }
    }
    // A folder hands out its names in an order of its own.
    for (const wchar_t* folder : {L"a", L"b", L"c"}) {
      listings_[folder] = Search(FileIn(folder, L"*.qsf"));
    }
  }

  RunResult RunCommand() override { return RunAdmin("-purgeQsf -f -c -v"); }

  Strings Model(FailingCall& fails) override {
    left_ = before_;
    Strings lines;
    if (fails("GetModuleFileNameW")) {
      // The program does not know itself then.
      lines = Lines(MapiInUse({"qrvadmin.exe"}));
      return lines + Strings{"Exiting."};
    }
    if (fails("CoInitialize")) {
      lines = {"PurgeQsf: CoInitialize failed : " + lab::HexNumber(kInjected)};
    } else {
      lines = PurgeLines(fails);
    }
    return lines + RestartLines(fails, ControllerIsInstalled()) + Strings{"Exiting."};
  }

  void CheckState() override { EXPECT_EQ(FilesThere(), left_); }

  void CheckUndamaged() override {
    const std::set<std::wstring> there = FilesThere();
    for (const std::wstring& file : before_) {
      if (IsInUse(file)) {
        EXPECT_TRUE(there.contains(file)) << Utf8FromWide(file);
      }
    }
  }

  // A service takes its time, and it is there for its own calls only.
  static bool ControllerIsInstalled() {
    return GetParam().name == std::string_view(kServiceCalls.name);
  }

 private:
  using File = std::pair<std::wstring, std::wstring>;

  static std::vector<File> Unused() {
    return {{L"b", L"Old.qsf"},
            {L"b", L"old.qsf.lock"},
            {L"b", L"oldest.txt"},
            {L"b", L"other.QSF"},
            {L"c", L"zoe.qsf"}};
  }

  std::wstring FileIn(const std::wstring& folder, const std::wstring& name) const {
    return Folder(folder) + L"\\" + name;
  }

  std::set<std::wstring> FilesThere() const {
    std::set<std::wstring> files;
    for (const wchar_t* folder : {L"a", L"b", L"c"}) {
      for (const std::wstring& name : lab::FilesIn(Folder(folder))) {
        files.insert(FileIn(folder, name));
      }
    }
    return files;
  }

  static bool IsInUse(const std::wstring& path) {
    const std::string name = Lower(path.substr(path.rfind(L'\\') + 1));
    return name == "bes.qsf" || name == "ann.qsf" || name == "cid.qsf" || name == "dan.qsf";
  }
  static constexpr int kPathsInUse = 4;

  Strings PurgeLines(FailingCall& fails) {
    Strings lines;
    for (int profile = 0; profile < 2; ++profile) {
      if (!fails("SetConsoleCtrlHandler")) lines.push_back(kHandlerInstalled);
    }
    bool found = false;
    bool identitiesKnown = false;
    for (const wchar_t* folder : {L"a", L"b", L"c"}) {
      if (!fails("FindFirstFileW")) {
        for (const std::wstring& name : listings_[folder]) {
          if (IsCandidate(folder, name)) {
            AskIdentity(fails, identitiesKnown);
            found = true;
            lines = lines + FileLines(fails, folder, name);
          }
          if (fails("FindNextFileW")) break;
        }
      }
      if (!found) lines.push_back(kNothingUnused);
    }
    return lines;
  }

  bool IsCandidate(const std::wstring& folder, const std::wstring& name) const {
    return name != L"folder.qsf" && !IsInUse(FileIn(folder, name));
  }

  // Whether the file is one in use under another name, which none is: one that cannot be told
  // counts as none.
  static void AskIdentity(FailingCall& fails, bool& known) {
    const auto asked = [&] {
      return !fails("CreateFileW") && !fails("GetFileInformationByHandle");
    };
    if (!asked() || known) return;
    known = true;
    for (int path = 0; path < kPathsInUse; ++path) asked();
  }

  Strings FileLines(FailingCall& fails, const std::wstring& folder, const std::wstring& name) {
    std::string time = LocalTimeText(kLongAgo);
    // A time that cannot be told is shown as none.
    if (fails("FileTimeToLocalFileTime")) time = "1601-01-01 00:00:00";
    if (fails("FileTimeToSystemTime")) time = "0000-00-00 00:00:00";
    Strings lines = {"Unused Qsf: '" + Lower(name) + "'", "Size: 0 KB",
                     "Last access time: " + time};
    const std::wstring stem = name.substr(0, name.size() - 4);
    if (!fails("FindFirstFileW")) {
      for (const std::wstring& each : Search(FileIn(folder, stem + L"*"), before_)) {
        lines.push_back("Deleting: " + Lower(Folder(folder)) + "\\" + Utf8FromWide(each));
        if (!fails("DeleteFileW")) left_.erase(FileIn(folder, each));
        if (fails("FindNextFileW")) break;
      }
    }
    return lines + Strings{" "};
  }

  // The files of `all` that fit the pattern, as a search hands them out.
  static Names Search(const std::wstring& pattern, const std::set<std::wstring>& all) {
    Names names;
    for (const std::wstring& path : all) {
      if (lab::FoldAscii(path).starts_with(lab::FoldAscii(pattern.substr(0, pattern.size() - 1)))) {
        names.push_back(path.substr(path.rfind(L'\\') + 1));
      }
    }
    return names;
  }
  static Names Search(const std::wstring& pattern) { return e2e::Search(pattern); }

  std::set<std::wstring> before_;
  std::set<std::wstring> left_;
  std::map<std::wstring, Names> listings_;
};

TEST_P(PurgeFaultSweepTest, EachCall) { Sweep("-purgeQsf", GetParam()); }

INSTANTIATE_TEST_SUITE_P(Kinds, PurgeFaultSweepTest,
                         ::testing::Values(kFileCalls, kOutputCalls, kServiceCalls, kComCalls,
                                           kModuleCalls, kCloseCalls),
                         kByName);

class PurgeMemoryFaultSweepTest : public PurgeFaultSweepTest {};

TEST_P(PurgeMemoryFaultSweepTest, EachPlace) { SweepMemory("-purgeQsf"); }

INSTANTIATE_TEST_SUITE_P(Kinds, PurgeMemoryFaultSweepTest, ::testing::Values(kMemoryCalls),
                         kByName);

}  // namespace
}  // namespace e2e
