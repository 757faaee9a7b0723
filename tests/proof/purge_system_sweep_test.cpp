// -purgeQsf with each of its calls failing once. What is found in use is never deleted, whatever
// system function fails.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
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
    // Nobody looks into the files, and one that is taken for unused is told like the others.
    for (const auto& [folder, name] : InUse()) Put(FileIn(folder, name));
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
    if (fails("MAPIInitialize")) return {kNoMapi, "Exiting."};
    if (fails("CoInitialize")) {
      lines = {"PurgeQsf: CoInitialize failed : " + lab::HexNumber(kInjected)};
    } else {
      inUse_.clear();
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

  static std::vector<File> InUse() {
    return {{L"a", L"bes.qsf"}, {L"b", L"ann.qsf"}, {L"b", L"Cid.qsf"}, {L"c", L"dan.qsf"}};
  }
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

  struct Step {
    const char* operation;
    const char* failure;
  };

  // Takes steps up to the first that fails, which prints its line.
  template <size_t kCount>
  static bool Pass(FailingCall& fails, const Step (&steps)[kCount], const std::string& function,
                   Strings& lines) {
    for (const Step& step : steps) {
      if (!fails(step.operation)) continue;
      lines.push_back(function + ": " + step.failure + " : " + lab::HexNumber(kInjected));
      return false;
    }
    return true;
  }

  // A store of a profile: its address, and its file, which an embedded one has not.
  struct Store {
    std::string name;
    std::wstring folder;
    std::wstring file;
  };
  enum class Loaded { kRead, kPassedOver, kEnded };

  Strings PurgeLines(FailingCall& fails) {
    constexpr Step kProfiles[] = {{"MAPIAdminProfiles", "MAPIAdminProfiles failed"},
                                  {"IProfAdmin::GetProfileTable", "GetProfileTable failed"},
                                  {"HrQueryAllRows@ProfileTable", "HrQueryAllRows failed"}};
    const std::vector<std::vector<Store>> profiles = {
        {{"bes", L"a", L"bes.qsf"}, {"ann", L"b", L"ann.qsf"}, {"bob", L"", L""}},
        {{"cid", L"b", L"Cid.qsf"}, {"dan", L"c", L"dan.qsf"}}};
    Strings lines;
    if (!Pass(fails, kProfiles, "PurgeQsf", lines)) return lines;
    for (const std::vector<Store>& profile : profiles) {
      if (!fails("SetConsoleCtrlHandler")) lines.push_back(kHandlerInstalled);
      if (LoadCache(fails, profile, lines)) continue;
      lines.push_back("PurgeQsf: storeManager LoadCache failed : " + lab::HexNumber(kInjected));
      return lines;
    }
    return lines + SearchLines(fails);
  }

  // Whether the last service was read. One that is passed over before it is forgotten, and its file
  // is nobody's.
  bool LoadCache(FailingCall& fails, const std::vector<Store>& stores, Strings& lines) {
    constexpr Step kOpen[] = {
        {"MAPIAdminProfiles", "MAPIAdminProfiles failed"},
        {"IProfAdmin::AdminServices", "AdminServices failed"},
        {"IMsgServiceAdmin::GetMsgServiceTable", "GetMsgServiceTable failed"},
        {"IMAPITable::Restrict@MsgServiceTable", "Restrict on MsgServiceTable failed"},
        {"HrQueryAllRows@MsgServiceTable", "HrQueryAllRows on MsgServiceTable failed"}};
    if (!Pass(fails, kOpen, kLoad, lines)) return false;
    Loaded last = Loaded::kRead;
    bool embeddedIsRead = false;
    bool parentIsRead = false;
    for (const Store& store : stores) {
      last = LoadService(fails, store, lines);
      if (last == Loaded::kEnded) return false;
      if (last == Loaded::kPassedOver) continue;
      if (!store.file.empty()) inUse_.insert(FileIn(store.folder, store.file));
      embeddedIsRead |= store.name == "bob";
      parentIsRead |= store.name == "ann";
    }
    if (last == Loaded::kPassedOver) return false;
    if (!embeddedIsRead || parentIsRead) return true;
    lines = lines + Lines(OrphanDeleted("bob@example.com"));
    return true;
  }

  static Loaded LoadService(FailingCall& fails, const Store& store, Strings& lines) {
    constexpr Step kService[] = {{"IMsgServiceAdmin::OpenProfileSection@ServiceSection",
                                  "HrQueryAllRows on MsgServiceTable failed"}};
    constexpr Step kProvider[] = {
        {"IMsgServiceAdmin::AdminProviders", "AdminProviders failed"},
        {"IProviderAdmin::GetProviderTable", "GetProviderTable failed"},
        {"IMAPITable::Restrict@ProviderTable", "Restrict on provider table failed"},
        {"HrQueryAllRows@ProviderTable", "HrQueryAllRows on provider table failed"},
        {"IMsgServiceAdmin::OpenProfileSection@ProviderSection",
         "OpenProfileSection on provider table failed"}};
    constexpr Step kParent[] = {{"IMsgServiceAdmin::OpenProfileSection@ProviderSection",
                                 "OpenProfileSection on parent provider UID failed"}};
    if (!Pass(fails, kService, kLoad, lines)) return Loaded::kEnded;
    if (fails("HrGetOneProp@ServiceSection")) return Loaded::kPassedOver;
    if (!Pass(fails, kProvider, kLoad, lines)) return Loaded::kEnded;
    if (fails("IProfSect::GetProps@ProviderSection")) return Loaded::kPassedOver;
    if (!store.file.empty()) return Loaded::kRead;
    if (!Pass(fails, kParent, kLoad, lines)) return Loaded::kEnded;
    return fails("HrGetOneProp@ProviderSection") ? Loaded::kPassedOver : Loaded::kRead;
  }
  static constexpr char kLoad[] = "CStoreManager::LoadCache";

  // Each folder with a file in use.
  Strings SearchLines(FailingCall& fails) {
    Strings lines;
    bool found = false;
    bool identitiesKnown = false;
    for (const std::wstring folder : {L"a", L"b", L"c"}) {
      const bool searched = std::any_of(inUse_.begin(), inUse_.end(), [&](const auto& path) {
        return path.starts_with(Folder(folder) + L"\\");
      });
      if (!searched) continue;
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
    return name != L"folder.qsf" && !inUse_.contains(FileIn(folder, name));
  }

  // Whether the file is one in use under another name, which none is: one that cannot be told
  // counts as none.
  void AskIdentity(FailingCall& fails, bool& known) const {
    const auto asked = [&] {
      return !fails("CreateFileW") && !fails("GetFileInformationByHandle");
    };
    if (!asked() || known) return;
    known = true;
    for (size_t path = 0; path < inUse_.size(); ++path) asked();
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

  std::set<std::wstring> inUse_;
  std::set<std::wstring> before_;
  std::set<std::wstring> left_;
  std::map<std::wstring, Names> listings_;
};

const CallKind kMapiCalls = {
    "Mapi",
    {"MAPIInitialize", "MAPIAdminProfiles", "IProfAdmin::GetProfileTable",
     "HrQueryAllRows@ProfileTable", "IProfAdmin::AdminServices",
     "IMsgServiceAdmin::GetMsgServiceTable", "IMAPITable::Restrict@MsgServiceTable",
     "HrQueryAllRows@MsgServiceTable", "IMsgServiceAdmin::OpenProfileSection@ServiceSection",
     "HrGetOneProp@ServiceSection", "IMsgServiceAdmin::AdminProviders",
     "IProviderAdmin::GetProviderTable", "IMAPITable::Restrict@ProviderTable",
     "HrQueryAllRows@ProviderTable", "IMsgServiceAdmin::OpenProfileSection@ProviderSection",
     "IProfSect::GetProps@ProviderSection", "HrGetOneProp@ProviderSection"}};

TEST_P(PurgeFaultSweepTest, EachCall) { Sweep("-purgeQsf", GetParam()); }

INSTANTIATE_TEST_SUITE_P(Kinds, PurgeFaultSweepTest,
                         ::testing::Values(kFileCalls, kOutputCalls, kServiceCalls, kComCalls,
                                           kModuleCalls, kCloseCalls, kMapiCalls),
                         kByName);

class PurgeMemoryFaultSweepTest : public PurgeFaultSweepTest {};

TEST_P(PurgeMemoryFaultSweepTest, EachPlace) { SweepMemory("-purgeQsf"); }

INSTANTIATE_TEST_SUITE_P(Kinds, PurgeMemoryFaultSweepTest, ::testing::Values(kMemoryCalls),
                         kByName);

}  // namespace
}  // namespace e2e
