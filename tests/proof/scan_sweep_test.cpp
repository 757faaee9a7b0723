// -scanQsf with each call of a system function failing once: where the stores' files are deleted,
// and where the repair tool is driven.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "lab/common/profile_registry.h"
#include "lab/common/registry_key.h"
#include "lab/common/text.h"
#include "lab/repair/repair_control.h"
#include "tests/e2e/support/scan_lab_test.h"
#include "tests/proof/system_sweep.h"

namespace e2e {
namespace {

using lab::RegistryKey;
using lab::StubPlace;
using lab::StubState;

constexpr wchar_t kMailClient[] = L"Software\\Clients\\Mail\\Microsoft Outlook";
constexpr wchar_t kProfileKey[] = L"Software\\Microsoft\\Office\\16.0\\Outlook\\Profiles\\Main";
constexpr char kOldProfileKey[] =
    "Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows Messaging Subsystem\\Profiles\\Main";
constexpr char kNoneMarked[] = "No .qsf files have been marked as corrupt with [Main] profile";
constexpr char kModule[] = "GetMapiModuleFullPath ";

// The system's text for an error, as it is shown within a line.
std::string SystemText(DWORD error) {
  wchar_t text[512] = L"";
  FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                 text, ARRAYSIZE(text), nullptr);
  return Utf8FromWide(text);
}

// Both runs find Outlook 16 registered as the mail client, and the lab's MAPI stub in both places.
class ScanSweep : public SystemSweep<ScanLabTest> {
 protected:
  void SetUp() override {
    ScanLabTest::SetUp();
    ASSERT_TRUE(lab::WriteOutlookVersion(lab::OutlookVersion{16, 0}));
    SetStub(StubPlace::kMapi32, StubState::kPlaced, L"mapistub.dll");
    for (const wchar_t* name : {L"MSIApplicationLCID", L"MSIOfficeLCID", L"MSIComponentID"}) {
      const wchar_t* const locale = name[4] == L'p' ? L"1033" : L"1031";
      ASSERT_TRUE(RegistryKey::Create(HKEY_LOCAL_MACHINE, kMailClient)
                      .Write(name, lab::TextValue(locale, REG_SZ)));
    }
  }
  void TearDown() override {
    lab::DeleteKeyTree(HKEY_LOCAL_MACHINE, kMailClient);
    profile_.Delete();
    ScanLabTest::TearDown();
  }

  // Where the stub says that MAPI is.
  std::wstring DirectoryAsked(FailingCall& fails) const {
    if (fails("GetSystemDirectoryA")) return L"";
    // The second library answers like the first.
    fails("LoadLibraryA") || fails("GetProcAddress");
    if (fails("RegOpenKeyExA")) return Answer(L"plain");
    // The size, then the value; the other locale's does not matter with this one.
    const bool noLocale = fails("RegQueryValueExA") || fails("RegQueryValueExA");
    return Answer(noLocale ? L"office" : L"application");
  }
  std::wstring Answer(const std::wstring& name) const { return StorePath(name); }
  void PlanAnswers() {
    const auto file = [&](const wchar_t* name) {
      return lab::NarrowFromWide(Answer(name)) + "\\olmapi32.dll";
    };
    PlanStub(lab::StubPlan()
                 .Path("1033", file(L"application"))
                 .Path("1031", file(L"office"))
                 .Path("null", file(L"plain")));
  }

  // The paths that the registry has, and the lines on the way there.
  std::vector<std::wstring> FindPaths(FailingCall& fails, Strings& lines) const {
    if (fails("RegOpenKeyExW")) {
      // The text has a line end of its own.
      const std::string text = SystemText(kSystemError);
      lines.push_back("getQsfPaths: caught : " + text.substr(0, text.find('\n')));
      lines.emplace_back();
      return {};
    }
    // The version's key, its size and itself.
    if (fails("RegOpenKeyExW") || fails("RegQueryValueExW") || fails("RegQueryValueExW")) {
      return NoProfile(lines, kOldProfileKey, ERROR_FILE_NOT_FOUND);
    }
    if (fails("RegOpenKeyExW")) return NoProfile(lines, Utf8FromWide(kProfileKey), kSystemError);
    // No name fits when their longest is not known.
    if (fails("RegQueryInfoKeyW")) return {};
    std::vector<std::wstring> paths;
    for (const std::wstring& section : SubKeys()) {
      if (fails("RegEnumKeyExW")) break;
      if (const auto path = PathIn(fails, section)) paths.push_back(*path);
    }
    return paths;
  }

 private:
  static std::vector<std::wstring> NoProfile(Strings& lines, const std::string& key,
                                             uint32_t error) {
    char number[16];
    snprintf(number, sizeof(number), "0x%08x", error);
    lines.push_back("getQsfPaths. opening key " + key + " returned error " + number);
    return {};
  }

  // In the order in which they are enumerated.
  static std::vector<std::wstring> SubKeys() {
    std::vector<std::wstring> names;
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, kProfileKey, 0, KEY_READ, &key), ERROR_SUCCESS);
    wchar_t name[256];
    DWORD length = ARRAYSIZE(name);
    while (RegEnumKeyExW(key, static_cast<DWORD>(names.size()), name, &length, nullptr, nullptr,
                         nullptr, nullptr) == ERROR_SUCCESS) {
      names.emplace_back(name, length);
      length = ARRAYSIZE(name);
    }
    RegCloseKey(key);
    return names;
  }

  // The section's path when it is a marked store of the connector's.
  static std::optional<std::wstring> PathIn(FailingCall& fails, const std::wstring& section) {
    if (fails("RegOpenKeyExW")) return std::nullopt;
    const RegistryKey key = RegistryKey::OpenExisting(
        HKEY_CURRENT_USER, std::wstring(kProfileKey) + L'\\' + section, KEY_READ);
    const auto read = [&](const wchar_t* name) {
      auto value = key.Read(name);
      // The size, then the value; of one that is missing not even the size.
      if (fails("RegQueryValueExW") || (value && fails("RegQueryValueExW"))) value.reset();
      return value;
    };
    const auto name = read(L"001f3d09");
    const bool mine = name && (name->data == lab::TextValue(L"LSMS", REG_BINARY).data ||
                               name->data == lab::TextValue(L"LSMS_Secondary", REG_BINARY).data);
    if (!mine) return std::nullopt;
    const auto mark = read(L"00036689");
    if (!mark || mark->data.size() < 4 || mark->data[3] < 0x80) return std::nullopt;
    const auto path = read(L"001f6700");
    if (!path) return std::nullopt;
    std::wstring text(reinterpret_cast<const wchar_t*>(path->data.data()),
                      path->data.size() / sizeof(wchar_t));
    return text.substr(0, text.find(L'\0'));
  }
};

// The provider is found beside the program's own MAPI library. Of the marked stores the first is to
// be deleted, the second not, the third again.
class DeleteFaultSweepTest : public ScanSweep {
 protected:
  void SetUp() override {
    ScanSweep::SetUp();
    program_ = CopyProgram(L"qrvadmin.exe");
    ASSERT_TRUE(lab::PlaceMapiProvider(ProgramDirectory()));
  }

  void Restore() override {
    profile_.Delete();
    lab::StoreOptions marked;
    marked.corruptionMark = 0x80000001;
    AddRoot(marked);
    const auto ann = Add(L"ann", marked);
    AddEmbedded(L"bob", ann);
    Add(L"cid");
    Add(L"dan", marked);
    PlanAnswers();
    if (ControllerIsInstalled()) SetController(lab::ControllerState::kStopped);
  }

  RunResult RunCommand() override {
    return RunAdmin("-scanQsf -d Main -m -c -v", {.program = program_, .input = "y\r\nn\r\ny\r\n"});
  }

  Strings Model(FailingCall& fails) override {
    left_ = {L"bes", L"ann", L"cid", L"dan"};
    fails("GetModuleHandleW");
    if (fails("GetModuleFileNameW")) {
      return Lines(MapiInUse({"qrvadmin.exe"})) + Strings{"Exiting."};
    }
    Strings lines = ModuleLines(fails);
    if (!fails("SetConsoleCtrlHandler")) lines.push_back(kHandlerInstalled);
    const std::vector<std::wstring> paths = FindPaths(fails, lines);
    if (paths.empty()) {
      lines.push_back(kNoneMarked);
    }
    const std::string answers = "yny";
    for (size_t at = 0; at < paths.size(); ++at) {
      if (!Delete(fails, paths[at], answers[at] == 'y', lines)) break;
    }
    return lines + RestartLines(fails, ControllerIsInstalled()) + Strings{"Exiting."};
  }

  void CheckState() override {
    for (const wchar_t* name : {L"bes", L"ann", L"cid", L"dan"}) {
      const bool kept = std::find(left_.begin(), left_.end(), name) != left_.end();
      EXPECT_EQ(Exists(FileOf(name)), kept) << Utf8FromWide(name);
    }
  }
  void CheckUndamaged() override { EXPECT_TRUE(IsSound(FileOf(L"cid"))); }

  // The search for the paths catches what is thrown in it, and those found before it count.
  bool MayHavePrinted(const std::string& output, const std::string& clean) const override {
    const std::string caught = Text({"getQsfPaths: caught std::bad_alloc"});
    const size_t at = output.find(caught);
    if (at == output.npos) return output == clean;
    const std::string head = output.substr(0, at);
    const Strings rest = Lines(clean.substr(head.size()));
    const Strings end(rest.end() - 3, rest.end());
    bool known = output == head + caught + Text({kNoneMarked}) + Text(end);
    for (const int lines : {3, 6, 9}) {
      known |= output == head + caught + Text({rest.begin(), rest.begin() + lines}) + Text(end);
    }
    return known && clean.starts_with(head);
  }

  static bool ControllerIsInstalled() {
    return GetParam().name == std::string_view(kServiceCalls.name);
  }

 private:
  // The module is beside the loaded library when it is not where the stub says. The path is the
  // last one that was tried.
  Strings ModuleLines(FailingCall& fails) {
    const std::string asked = Utf8FromWide(DirectoryAsked(fails));
    std::string path = asked + "\\mspst32.dll";
    Strings lines = {kModule + ("InitMAPIDir returned '" + asked + "'"),
                     kModule + ("Testing module name '" + path + "'"),
                     std::string(kModule) + "Trying to find module using alternative method"};
    fails("GetFileAttributesW");
    bool found = false;
    if (!fails("IsBadStringPtrW") && !fails("IsBadWritePtr") && !fails("GetModuleHandleW")) {
      const bool nameless = fails("GetModuleFileNameW");
      path = (nameless ? "" : Utf8FromWide(ProgramDirectory())) + "\\mspst32.dll";
      found = !nameless && !fails("GetFileAttributesW");
    }
    lines.push_back(found ? kModule + ("Alternative method found module '" + path + "'")
                          : kModule + std::string("Alternative method have not found any module"));
    lines.push_back("Provider path: " + path);
    return lines;
  }

  bool Delete(FailingCall& fails, const std::wstring& path, bool wanted, Strings& lines) {
    const std::string shown = Utf8FromWide(path);
    lines.push_back("deleting " + shown);
    lines.push_back("Are you sure you want to delete [" + shown + "] ([y]es/[n]o/[c]ancel)?");
    const bool failed = wanted && fails("DeleteFileW");
    lines.push_back(failed ? "file delete error." : "file delete done.");
    if (wanted && !failed) {
      std::erase_if(left_, [&](const std::wstring& name) { return FileOf(name) == path; });
    }
    return !failed;
  }

  std::filesystem::path program_;
  std::vector<std::wstring> left_;
};

TEST_P(DeleteFaultSweepTest, EachCall) { Sweep("-scanQsf", GetParam()); }

INSTANTIATE_TEST_SUITE_P(Kinds, DeleteFaultSweepTest,
                         ::testing::Values(kRegistryCalls, kFileCalls, kOutputCalls, kModuleCalls,
                                           kServiceCalls, kCloseCalls),
                         kByName);

class DeleteMemoryFaultSweepTest : public DeleteFaultSweepTest {};

TEST_P(DeleteMemoryFaultSweepTest, EachPlace) { SweepMemory("-scanQsf"); }

INSTANTIATE_TEST_SUITE_P(Kinds, DeleteMemoryFaultSweepTest, ::testing::Values(kMemoryCalls),
                         kByName);

// The repair tool on one store. What is asked of its windows depends on the tool's time, so the
// model looks up in the journal which call it was that failed.

constexpr char kCheckRepair[] = "CheckRepairQsf. ";

class ToolFaultSweepTest : public ScanSweep {
 protected:
  void Restore() override {
    lab::EndRepairTools();
    profile_.Delete();
    std::filesystem::remove(lab::BackupPathOf(FileOf(L"bes")));
    AddRoot();
    if (IsDamaged()) {
      ASSERT_TRUE(lab::DamageQsf(FileOf(L"bes"), lab::QsfDamage::kChecksum));
    }
    ASSERT_TRUE(lab::PlaceRepairTool(Answer(L"application"), LabBinaries() / L"SCANPST.EXE"));
    PlanAnswers();
    // A tool whose windows are not found is waited for until it ends by itself.
    PlanTool({.lifetime = 20000});
  }

  RunResult RunCommand() override { return RunAdmin("-scanQsf -p Main -v"); }

  virtual bool IsDamaged() const { return false; }

  // Without these clicks the tool never begins, and its result is waited for without limit. So it
  // is when the first search passes over the tool's main window: it finds one that has no controls.
  bool IsEndless(const std::string& operation, uint32_t nth) const override {
    if (operation == "PostMessageW") return nth <= (IsDamaged() ? 4U : 2U);
    if (operation == "GetWindowThreadProcessId") return nth == 1;
    return operation == "FindWindowExW" && (IsDamaged() ? nth >= 2 : nth == 2);
  }

  Strings Model(FailingCall& fails) override {
    Strings lines = ModuleLines() +
                    Strings{"Provider path: " + Provider(), kHandlerInstalled,
                            "scanning " + Utf8FromWide(FileOf(L"bes")), "%In hs."} +
                    ModuleLines() +
                    Said({"MAPI Module Full Path: " + Provider(), "Creating process"});
    repaired_ = IsDamaged();
    const auto failed = FailedEntry();
    if (fails.Is("CreateProcessW")) {
      lines = lines + Said({"Process failed to create.exiting"});
      return Failed(lines);
    }
    lines = lines + Said({"finding scanpst window handle"});
    if (IsLost(fails)) {
      lines = lines + Said({"ScanPST was not loaded or terminated. another ScanPST running?"});
      return Failed(lines);
    }
    lines =
        lines +
        Said({"finding edit on window", "writing [" + Utf8FromWide(FileOf(L"bes")) + "] on edit",
              "finding the start button", "clicking the start button", "waiting for results"});
    const bool findsEdit = fails.Is("FindWindowExW") && failed.Argument("text") == "Edit";
    const bool noText = fails.Is("SendMessageW") || findsEdit;
    bool done = true;
    if (noText && fails.Nth() == 1) {
      done = false;
      lines = lines + ErrorLines(Utf8FromWide(lab::ExamineStore(L"").text));
    } else if (findsEdit) {
      done = false;
      lines = lines + ErrorLines("No errors were found in this file.");
    } else if (IsDamaged()) {
      lines = lines + Said({"found repair button. there are errors. clicking repair",
                            "waiting for repair to finish", "looking for OK button",
                            "found OK button. done repairing. clicking OK"});
    } else {
      lines = lines + Said({"found OK button. looking for edit control",
                            "found edit control. No errors found. clicking OK"});
    }
    lines = lines + Said({"quitting ScanPST", "looking for ScanPST window",
                          "sending windows WM_CLOSE message", "waiting for process to exit"});
    return done ? Ended(lines, "file scan done.") : Failed(lines);
  }

  void CheckState() override { EXPECT_EQ(IsSound(FileOf(L"bes")), repaired_ || !IsDamaged()); }
  void CheckUndamaged() override { EXPECT_EQ(lab::QsfSize(FileOf(L"bes")).has_value(), true); }

  // How often it is asked for a window or a button is a matter of the tool's time.
  std::string InOrder(const std::string& output) const override {
    std::set<std::string> told;
    Strings kept;
    const Strings rounds = Said({"looking for OK button", "Looking for YES button",
                                 "looking for ScanPST window", "sending windows WM_CLOSE message"});
    for (const std::string& line : Lines(output)) {
      const bool isRound = std::find(rounds.begin(), rounds.end(), line) != rounds.end();
      if (line != rounds[1] && (!isRound || told.insert(line).second)) kept.push_back(line);
    }
    return Text(kept);
  }

  void TearDown() override {
    lab::EndRepairTools();
    ScanSweep::TearDown();
  }

 private:
  static Strings Said(Strings texts) {
    for (std::string& text : texts) text = kCheckRepair + text;
    return texts;
  }

  std::string Provider() const { return Utf8FromWide(Answer(L"application")) + "\\mspst32.dll"; }
  Strings ModuleLines() const {
    return {kModule + ("InitMAPIDir returned '" + Utf8FromWide(Answer(L"application")) + "'"),
            kModule + ("Testing module name '" + Provider() + "'")};
  }
  static Strings ErrorLines(const std::string& text) {
    return Said({"found OK button. looking for edit control",
                 "did not find edit control. there was an error. clicking OK",
                 "ScanPST Error: " + text});
  }
  static Strings Ended(const Strings& lines, const char* end) {
    return lines + Said({"releasing handles"}) +
           Strings{"Exiting CheckRepairQsf.", end, "Exiting."};
  }
  Strings Failed(const Strings& lines) {
    repaired_ = false;
    return Ended(lines, "file scan error.");
  }

  lab::JournalEntry FailedEntry() const {
    const auto journal = Journal();
    const lab::JournalEntry* const failed = FailedCall(journal);
    return failed ? *failed : lab::JournalEntry();
  }

  // Whether the first search finds no window of the tool's, which is then left running. It may not
  // have one yet when it is not waited for.
  bool IsLost(const FailingCall& fails) const {
    if (fails.Is("WaitForInputIdle")) return Output().find(" was not loaded") != std::string::npos;
    return fails.Is("EnumWindows") && fails.Nth() == 1;
  }

  bool repaired_ = false;
};

class DamagedToolFaultSweepTest : public ToolFaultSweepTest {
 protected:
  bool IsDamaged() const override { return true; }
};

TEST_P(ToolFaultSweepTest, EachCall) { Sweep("-scanQsf", GetParam()); }
TEST_P(DamagedToolFaultSweepTest, EachCall) { Sweep("-scanQsf", GetParam()); }

const auto kToolKinds = ::testing::Values(
    CallKind{"Process", {"CreateProcessW", "WaitForInputIdle", "WaitForSingleObject"}},
    CallKind{"Search", {"EnumWindows"}}, CallKind{"Owners", {"GetWindowThreadProcessId"}},
    CallKind{"Controls", {"FindWindowExW"}},
    CallKind{"Messages", {"SendMessageW", "PostMessageW"}});

INSTANTIATE_TEST_SUITE_P(Kinds, ToolFaultSweepTest, kToolKinds, kByName);
INSTANTIATE_TEST_SUITE_P(Kinds, DamagedToolFaultSweepTest, kToolKinds, kByName);

}  // namespace
}  // namespace e2e
