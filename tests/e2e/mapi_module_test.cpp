// Where the scan command finds Outlook's MAPI: what the MAPI stub is asked, what becomes of its
// answers, and where else the provider is looked for.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "lab/common/registry_key.h"
#include "lab/common/text.h"
#include "lab/repair/repair_control.h"
#include "src/platform/handle.h"
#include "tests/e2e/common_lines.h"
#include "tests/e2e/support/output.h"
#include "tests/e2e/support/scan_lab_test.h"

namespace e2e {
namespace {

using lab::RawValue;
using lab::RegistryKey;
using lab::StubPlace;
using lab::StubPlan;
using lab::StubState;

constexpr wchar_t kMailClient[] = L"Software\\Clients\\Mail\\Microsoft Outlook";
constexpr char kOutlookComponent[] = "{FF1D0740-D227-11D1-A4B0-006008AF820E}";
constexpr DWORD kLoadMilliseconds = 15000;

std::string Narrow(const std::wstring& text) { return lab::NarrowFromWide(text); }

std::wstring SystemDirectory() {
  wchar_t directory[MAX_PATH] = L"";
  GetSystemDirectoryW(directory, MAX_PATH);
  return directory;
}

// The lines that tell where the stub's directory is, and what is looked for in it.
Strings Asked(const std::wstring& directory) {
  const std::string shown = Utf8FromWide(directory);
  return {"GetMapiModuleFullPath InitMAPIDir returned '" + shown + "'",
          "GetMapiModuleFullPath Testing module name '" + shown + "\\mspst32.dll'"};
}

// The whole answer when the provider is in the stub's directory ...
std::string FoundIn(const std::wstring& directory) {
  return Text(Asked(directory) +
              Strings{"Provider path: " + Utf8FromWide(directory) + "\\mspst32.dll"});
}

// ... when it is beside a loaded module instead ...
std::string FoundBeside(const std::wstring& stubDirectory, const std::wstring& directory) {
  const std::string provider = Utf8FromWide(directory) + "\\mspst32.dll";
  return Text(Asked(stubDirectory) +
              Strings{"GetMapiModuleFullPath Trying to find module using alternative method",
                      "GetMapiModuleFullPath Alternative method found module '" + provider + "'",
                      "Provider path: " + provider});
}

// ... and when it is nowhere: the directory looked at last is shown.
std::string FoundNowhere(const std::wstring& stubDirectory, const std::wstring& lastDirectory) {
  return Text(Asked(stubDirectory) +
              Strings{"GetMapiModuleFullPath Trying to find module using alternative method",
                      "GetMapiModuleFullPath Alternative method have not found any module",
                      "Provider path: " + Utf8FromWide(lastDirectory) + "\\mspst32.dll"});
}

// The lines about the module in what a verbose run printed.
std::string ModuleLines(const std::string& output) {
  Strings lines = Lines(output);
  for (size_t count = 0; count < lines.size(); ++count) {
    if (lines[count] != kHandlerInstalled) continue;
    lines.resize(count);
    return Text(lines);
  }
  ADD_FAILURE() << "no line of the handler in:\n" << output;
  return {};
}

class MapiModuleTest : public ScanLabTest {
 protected:
  void TearDown() override {
    lab::DeleteKeyTree(HKEY_LOCAL_MACHINE, kMailClient);
    ScanLabTest::TearDown();
  }

  // A run of a copy of the program, beside whose mapi32.dll there is no provider.
  std::string Locate() {
    return ModuleLines(Run(Arguments(), {.program = CopyProgram(L"qrvadmin.exe")}));
  }
  static Words Arguments() { return "-scanQsf -v -p Nobody"; }

  // The same with other MAPI libraries in the process, copies of an empty one.
  std::string LocateWith(const std::vector<std::wstring>& libraries) {
    Faults().DelayEach("MAPIInitialize", 4000);
    RunningProgram program = StartAdmin(Arguments(), {.program = CopyProgram(L"qrvadmin.exe")});
    Sleep(1000);
    for (const std::wstring& library : libraries) {
      std::filesystem::create_directories(std::filesystem::path(library).parent_path());
      std::filesystem::copy_file(LabBinaries() / L"held_module.dll", library);
      LoadInto(program.ProcessId(), library);
    }
    return ModuleLines(program.Wait().output);
  }

  // Has the process load a DLL.
  static void LoadInto(DWORD processId, const std::wstring& path) {
    const platform::KernelHandle process(OpenProcess(PROCESS_ALL_ACCESS, FALSE, processId));
    const size_t size = (path.size() + 1) * sizeof(wchar_t);
    void* const remote =
        VirtualAllocEx(process.Get(), nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    ASSERT_TRUE(WriteProcessMemory(process.Get(), remote, path.c_str(), size, nullptr));
    // It lies at one address in every process.
    void* const load =
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "LoadLibraryW"));
    const platform::KernelHandle thread(
        CreateRemoteThread(process.Get(), nullptr, 0,
                           reinterpret_cast<LPTHREAD_START_ROUTINE>(load), remote, 0, nullptr));
    ASSERT_EQ(WaitForSingleObject(thread.Get(), kLoadMilliseconds), WAIT_OBJECT_0);
    DWORD loaded = 0;
    ASSERT_TRUE(GetExitCodeThread(thread.Get(), &loaded));
    ASSERT_NE(loaded, 0U);
  }

  static void SetMailClient(const wchar_t* name, const RawValue& value) {
    ASSERT_TRUE(RegistryKey::Create(HKEY_LOCAL_MACHINE, kMailClient).Write(name, value));
  }
  static void SetMailClient(const wchar_t* name, const wchar_t* text) {
    SetMailClient(name, lab::TextValue(text, REG_SZ));
  }

  // What the stub was given, call by call.
  Strings Given(const char* argument) const {
    Strings values;
    for (const auto& call : Calls("FGetComponentPath")) values.push_back(call.Argument(argument));
    return values;
  }
  Strings Qualifiers() const { return Given("qualifier"); }

  // A path of a file in Outlook's directory, as the stub answers it.
  std::string OutlookFile() const { return Narrow(OutlookDirectory()) + "\\olmapi32.dll"; }
};

// What the stub is asked.

TEST_F(MapiModuleTest, TheStubsDirectoryIsThatOfTheComponent) {
  EXPECT_EQ(Locate(), FoundIn(OutlookDirectory()));
  EXPECT_EQ(Given("module"), Strings({Utf8FromWide(SystemDirectory()) + "\\mapistub.dll"}));
  EXPECT_EQ(Given("component"), Strings({kOutlookComponent}));
  EXPECT_EQ(Qualifiers(), Strings({"NULL"}));
  EXPECT_EQ(Given("size"), Strings({"260"}));
  EXPECT_EQ(Given("install"), Strings({"1"}));
}

TEST_F(MapiModuleTest, OnlyTheFileNameIsCutOff) {
  const std::wstring directory = OutlookDirectory() + L"\\a.b\\c d";
  std::filesystem::create_directories(directory);
  ASSERT_TRUE(lab::PlaceMapiProvider(directory));
  PlanStub(StubPlan().Path("*", Narrow(directory) + "\\olmapi32.dll"));
  EXPECT_EQ(Locate(), FoundIn(directory));
}

TEST_F(MapiModuleTest, ADirectoryOfOtherLettersIsShown) {
  const std::wstring directory = StorePath(L"B\u00fcro");
  if (lab::WideFromNarrow(Narrow(directory)) != directory) GTEST_SKIP() << "not in the code page";
  ASSERT_TRUE(lab::PlaceMapiProvider(directory));
  PlanStub(StubPlan().Path("*", Narrow(directory) + "\\olmapi32.dll"));
  EXPECT_EQ(Locate(), FoundIn(directory));
}

TEST_F(MapiModuleTest, TheApplicationsLocaleComesFirst) {
  SetMailClient(L"MSIApplicationLCID", L"1033");
  SetMailClient(L"MSIOfficeLCID", L"1031");
  PlanStub(StubPlan().Path("1033", OutlookFile()));
  EXPECT_EQ(Locate(), FoundIn(OutlookDirectory()));
  EXPECT_EQ(Qualifiers(), Strings({"1033"}));
}

TEST_F(MapiModuleTest, OfficesLocaleComesSecond) {
  SetMailClient(L"MSIApplicationLCID", L"1033");
  SetMailClient(L"MSIOfficeLCID", L"1031");
  PlanStub(StubPlan().Path("1031", OutlookFile()));
  EXPECT_EQ(Locate(), FoundIn(OutlookDirectory()));
  EXPECT_EQ(Qualifiers(), Strings({"1033", "1031"}));
}

TEST_F(MapiModuleTest, NoLocaleComesLast) {
  SetMailClient(L"MSIApplicationLCID", L"1033");
  SetMailClient(L"MSIOfficeLCID", L"1031");
  PlanStub(StubPlan().Path("null", OutlookFile()));
  EXPECT_EQ(Locate(), FoundIn(OutlookDirectory()));
  EXPECT_EQ(Qualifiers(), Strings({"1033", "1031", "NULL"}));
}

TEST_F(MapiModuleTest, AnEmptyAnswerIsNone) {
  SetMailClient(L"MSIApplicationLCID", L"1033");
  SetMailClient(L"MSIOfficeLCID", L"1031");
  PlanStub(StubPlan().Empty("1033").Empty("1031").Path("null", OutlookFile()));
  EXPECT_EQ(Locate(), FoundIn(OutlookDirectory()));
  EXPECT_EQ(Qualifiers(), Strings({"1033", "1031", "NULL"}));
}

TEST_F(MapiModuleTest, TheAnswerOfAFailedCallIsNone) {
  SetMailClient(L"MSIApplicationLCID", L"1033");
  PlanStub(StubPlan().FailWithPath("1033", "C:\\x\\y.dll").Path("null", OutlookFile()));
  EXPECT_EQ(Locate(), FoundIn(OutlookDirectory()));
  EXPECT_EQ(Qualifiers(), Strings({"1033", "NULL"}));
}

TEST_F(MapiModuleTest, WithoutAnApplicationsLocaleOfficesIsAskedFor) {
  SetMailClient(L"MSIOfficeLCID", L"1031");
  EXPECT_EQ(Locate(), FoundIn(OutlookDirectory()));
  EXPECT_EQ(Qualifiers(), Strings({"1031"}));
}

TEST_F(MapiModuleTest, LocalesAreTakenWhateverTheirType) {
  SetMailClient(L"MSIApplicationLCID", RawValue{REG_BINARY, {'1', '0', '3', '3'}});
  SetMailClient(L"MSIOfficeLCID",
                RawValue{REG_MULTI_SZ, {'1', 0, '0', 0, '3', 0, '1', 0, 0, 0, 0, 0}});
  PlanStub(StubPlan());
  Locate();
  EXPECT_EQ(Qualifiers(), Strings({"1033", "1031", "NULL"}));
}

TEST_F(MapiModuleTest, TheRegistrationMayNameAnotherComponent) {
  SetMailClient(L"MSIComponentID", L"{01234567-89AB-CDEF-0123-456789ABCDEF}");
  EXPECT_EQ(Locate(), FoundIn(OutlookDirectory()));
  EXPECT_EQ(Given("component"), Strings({"{01234567-89AB-CDEF-0123-456789ABCDEF}"}));
}

TEST_F(MapiModuleTest, AComponentOf261BytesIsTaken) {
  SetMailClient(L"MSIComponentID", std::wstring(260, L'x').c_str());
  Locate();
  EXPECT_EQ(Given("component"), Strings({std::string(260, 'x')}));
}

TEST_F(MapiModuleTest, AComponentThatIsLongerIsNotTaken) {
  const std::wstring component(261, L'x');
  SetMailClient(L"MSIComponentID", component.c_str());
  EXPECT_EQ(Locate(), FoundIn(OutlookDirectory()));
  EXPECT_EQ(Given("component"), Strings({kOutlookComponent}));
}

// When the stub does not know.

TEST_F(MapiModuleTest, AStubThatFailsLeavesTheSystemDirectory) {
  PlanStub(StubPlan().FailWithPath("*", OutlookFile()));
  EXPECT_EQ(Locate(), FoundNowhere(SystemDirectory(), ProgramDirectory()));
  EXPECT_EQ(Given("module"), Strings({Utf8FromWide(SystemDirectory()) + "\\mapistub.dll"}));
}

TEST_F(MapiModuleTest, AnEmptyLastAnswerLeavesTheSystemDirectory) {
  SetMailClient(L"MSIApplicationLCID", L"1033");
  PlanStub(StubPlan().FailWithPath("1033", OutlookFile()).Empty("null"));
  EXPECT_EQ(Locate(), FoundNowhere(SystemDirectory(), ProgramDirectory()));
}

TEST_F(MapiModuleTest, AStubWithoutTheFunctionLeavesItToMapi32) {
  SetStub(StubPlace::kMapistub, StubState::kPlaced, L"bare_stub.dll");
  SetStub(StubPlace::kMapi32, StubState::kPlaced, L"mapistub.dll");
  EXPECT_EQ(Locate(), FoundIn(OutlookDirectory()));
  EXPECT_EQ(Given("module"), Strings({Utf8FromWide(SystemDirectory()) + "\\mapi32.dll"}));
}

TEST_F(MapiModuleTest, WithoutAStubMapi32IsAsked) {
  SetStub(StubPlace::kMapistub, StubState::kAbsent);
  SetStub(StubPlace::kMapi32, StubState::kPlaced, L"mapistub.dll");
  EXPECT_EQ(Locate(), FoundIn(OutlookDirectory()));
  EXPECT_EQ(Given("module"), Strings({Utf8FromWide(SystemDirectory()) + "\\mapi32.dll"}));
}

TEST_F(MapiModuleTest, WithoutTheFunctionAnywhereTheSystemDirectoryIsTaken) {
  SetStub(StubPlace::kMapistub, StubState::kPlaced, L"bare_stub.dll");
  SetStub(StubPlace::kMapi32, StubState::kPlaced, L"bare_stub.dll");
  EXPECT_EQ(Locate(), FoundNowhere(SystemDirectory(), ProgramDirectory()));
  EXPECT_TRUE(Qualifiers().empty());
}

TEST_F(MapiModuleTest, WithoutEitherLibraryTheSystemDirectoryIsTaken) {
  SetStub(StubPlace::kMapistub, StubState::kAbsent);
  SetStub(StubPlace::kMapi32, StubState::kAbsent);
  EXPECT_EQ(Locate(), FoundNowhere(SystemDirectory(), ProgramDirectory()));
}

// Where the provider is.

TEST_F(MapiModuleTest, AProviderInTheSystemDirectoryIsFound) {
  PlanStub(StubPlan());
  ASSERT_TRUE(lab::PlaceMapiProvider(SystemDirectory()));
  EXPECT_EQ(Locate(), FoundIn(SystemDirectory()));
  EXPECT_TRUE(lab::RemoveMapiProvider(SystemDirectory()));
}

TEST_F(MapiModuleTest, AProviderBesideTheLoadedMapi32IsFound) {
  ASSERT_TRUE(lab::RemoveMapiProvider(OutlookDirectory()));
  ASSERT_TRUE(lab::PlaceMapiProvider(ProgramDirectory()));
  EXPECT_EQ(Locate(), FoundBeside(OutlookDirectory(), ProgramDirectory()));
}

TEST_F(MapiModuleTest, TheStubsDirectoryComesBeforeTheLoadedMapi32) {
  ASSERT_TRUE(lab::PlaceMapiProvider(ProgramDirectory()));
  EXPECT_EQ(Locate(), FoundIn(OutlookDirectory()));
}

TEST_F(MapiModuleTest, AProviderThatIsNowhereKeepsTheLastPath) {
  ASSERT_TRUE(lab::RemoveMapiProvider(OutlookDirectory()));
  EXPECT_EQ(Locate(), FoundNowhere(OutlookDirectory(), ProgramDirectory()));
}

TEST_F(MapiModuleTest, AProviderBesideTheLoadedOlmapi32IsFound) {
  ASSERT_TRUE(lab::RemoveMapiProvider(OutlookDirectory()));
  const std::wstring directory = StorePath(L"office");
  ASSERT_TRUE(lab::PlaceMapiProvider(directory));
  EXPECT_EQ(LocateWith({directory + L"\\OLMAPI32.DLL"}),
            FoundBeside(OutlookDirectory(), directory));
}

TEST_F(MapiModuleTest, Msmapi32ComesBeforeOlmapi32) {
  ASSERT_TRUE(lab::RemoveMapiProvider(OutlookDirectory()));
  const std::wstring first = StorePath(L"first");
  const std::wstring second = StorePath(L"second");
  ASSERT_TRUE(lab::PlaceMapiProvider(first));
  ASSERT_TRUE(lab::PlaceMapiProvider(second));
  EXPECT_EQ(LocateWith({second + L"\\olmapi32.dll", first + L"\\msmapi32.dll"}),
            FoundBeside(OutlookDirectory(), first));
}

TEST_F(MapiModuleTest, TheLastLoadedLibrarysDirectoryIsShownWhenNoneHasIt) {
  ASSERT_TRUE(lab::RemoveMapiProvider(OutlookDirectory()));
  const std::wstring directory = StorePath(L"office");
  EXPECT_EQ(LocateWith({directory + L"\\olmapi32.dll"}),
            FoundNowhere(OutlookDirectory(), directory));
}

// The repair tool is looked for in the same place, anew for each file.

TEST_F(MapiModuleTest, TheToolBesideTheLoadedMapi32IsStarted) {
  ASSERT_TRUE(lab::RemoveMapiProvider(OutlookDirectory()));
  const RunOptions options = {.program = CopyProgram(L"qrvadmin.exe")};
  ASSERT_TRUE(lab::PlaceRepairTool(ProgramDirectory(), LabBinaries() / L"SCANPST.EXE"));
  const std::wstring file = Add(L"ann").Path();
  EXPECT_EQ(Run("-scanQsf -p Main", options),
            Text({"scanning " + Utf8FromWide(file), "file scan done."}));
  ASSERT_EQ(Calls("SCANPST::Start").size(), 1U);
  EXPECT_EQ(Calls("SCANPST::Start")[0].Argument("command"),
            Utf8FromWide(ProgramDirectory()) + "\\SCANPST.EXE");
}

// Also where there is no provider at all, the last place's tool is tried.
TEST_F(MapiModuleTest, TheToolOfTheLastPlaceIsStartedWithoutAProvider) {
  ASSERT_TRUE(lab::RemoveMapiProvider(OutlookDirectory()));
  const RunOptions options = {.program = CopyProgram(L"qrvadmin.exe")};
  ASSERT_TRUE(lab::PlaceRepairTool(ProgramDirectory(), LabBinaries() / L"SCANPST.EXE"));
  ASSERT_TRUE(lab::RemoveMapiProvider(ProgramDirectory()));
  const std::wstring file = Add(L"ann").Path();
  EXPECT_EQ(Run("-scanQsf -p Main", options),
            Text({"scanning " + Utf8FromWide(file), "file scan done."}));
}

}  // namespace
}  // namespace e2e
