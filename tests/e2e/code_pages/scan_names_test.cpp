// -scanQsf and the stand-alone utility: store files and MAPI directories with names of the code
// page's letters and of others.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lab/common/text.h"
#include "lab/repair/repair_control.h"
#include "tests/e2e/code_pages/names.h"
#include "tests/e2e/common_lines.h"
#include "tests/e2e/support/output.h"
#include "tests/e2e/support/scan_lab_test.h"

namespace e2e {
namespace {

constexpr char kScanned[] = "file scan done.";
constexpr char kDeleted[] = "file delete done.";

class ScanNamesTest : public ScanLabTest {
 protected:
  ScanNamesTest() { profile_ = lab::Profile(letters_.word + kLacking); }

  // A store of the profile in a folder of the same name.
  void AddInFolder(const std::wstring& name) const {
    profile_.AddSecondaryStore(name, StorePath(name + L"\\" + name + L".qsf"));
  }

  // Has the MAPI stub answer with a library of that name in a folder of the same name.
  std::wstring MoveMapi(const std::wstring& name) const {
    std::wstring directory = StorePath(name);
    EXPECT_TRUE(lab::PlaceMapiProvider(directory));
    PlanStub(lab::StubPlan().Path("*", lab::NarrowFromWide(directory + L"\\" + name + L".dll")));
    return directory;
  }

  // What a verbose run prints for a profile that does not exist, the lines about the module before
  // it.
  std::string NoProfile(const Strings& moduleLines, const std::wstring& provider) const {
    const std::string profile = Utf8FromWide(profile_.Name());
    return Text(moduleLines +
                Strings{"Provider path: " + Utf8FromWide(provider), kHandlerInstalled,
                        "getQsfPaths. opening key Software\\Microsoft\\Windows NT\\CurrentVersion\\"
                        "Windows Messaging Subsystem\\Profiles\\" +
                            profile + " returned error 0x00000002",
                        "No .qsf files associated with [" + profile + "] profile", "Exiting."});
  }
  static Strings Testing(const std::wstring& directory) {
    return {
        "GetMapiModuleFullPath InitMAPIDir returned '" + Utf8FromWide(directory) + "'",
        "GetMapiModuleFullPath Testing module name '" + Utf8FromWide(directory) + "\\mspst32.dll'"};
  }
  Words Scan() const { return {L"-scanQsf", L"-p", profile_.Name()}; }

  const Letters letters_ = LettersOfCodePage();
};

TEST_F(ScanNamesTest, StoresAreScannedRepairedAndShown) {
  for (const std::wstring& name :
       {letters_.hard.front().written, letters_.hard.back().written, std::wstring(kLacking)}) {
    AddInFolder(name);
  }
  ASSERT_TRUE(lab::DamageQsf(Files().front(), lab::QsfDamage::kChecksum));
  Strings shown;
  Strings typed;
  for (const std::wstring& file : Files()) {
    shown = shown + Strings{"scanning " + Utf8FromWide(file), kScanned};
    typed.push_back(Utf8FromWide(file));
  }
  EXPECT_EQ(Run(Scan()), Text(shown));
  EXPECT_EQ(lab::RepairTexts(Journal()), typed);
  EXPECT_TRUE(IsSound(Files().front()));
}

TEST_F(ScanNamesTest, AToolsErrorIsShown) {
  AddInFolder(letters_.hard[0].written + kLacking);
  const std::wstring file = Files().front();
  std::filesystem::remove(file);
  const std::string shown = Utf8FromWide(file);
  EXPECT_EQ(Run(Scan()),
            Text({"scanning " + shown,
                  "CheckRepairQsf. ScanPST Error: The file " + shown + " does not exist.",
                  "file scan error."}));
}

// Every second file, by the utility and by the command.
TEST_F(ScanNamesTest, StoresAreAskedForAndDeleted) {
  for (const Name& name : letters_.hard) AddInFolder(name.written);
  AddInFolder(kLacking);
  const std::vector<std::wstring> files = Files();
  RunOptions options;
  Strings shown;
  for (const std::wstring& file : files) {
    options.input += options.input.size() % 2 == 0 ? 'y' : 'n';
    const std::string path = Utf8FromWide(file);
    shown = shown + Strings{"deleting " + path,
                            "Are you sure you want to delete [" + path + "] ([y]es/[n]o/[c]ancel)?",
                            kDeleted};
  }
  EXPECT_EQ(RunUtility({L"-d", profile_.Name()}, options), Text(shown) + "0");
  for (size_t n = 0; n < files.size(); ++n) {
    EXPECT_EQ(Exists(files[n]), n % 2 == 1) << Utf8FromWide(files[n]);
  }
  options.input.assign(files.size(), 'n');
  EXPECT_EQ(Run({L"-scanQsf", L"-d", profile_.Name()}, options), Text(shown));
}

TEST_F(ScanNamesTest, MapisDirectoryIsCutOffAtABackslash) {
  for (const Name& name : letters_.hard) {
    const std::wstring directory = MoveMapi(name.written);
    EXPECT_EQ(Run(Scan() + "-v"), NoProfile(Testing(directory), directory + L"\\mspst32.dll"));
  }
}

TEST_F(ScanNamesTest, TheToolIsTakenFromMapisDirectory) {
  const std::wstring directory = MoveMapi(letters_.hard[0].written);
  ASSERT_TRUE(lab::PlaceRepairTool(directory, LabBinaries() / L"SCANPST.EXE"));
  AddInFolder(L"ann");
  EXPECT_EQ(Run(Scan()), Text({"scanning " + Utf8FromWide(Files().front()), kScanned}));
  ASSERT_EQ(Calls("SCANPST::Start").size(), 1U);
  EXPECT_EQ(Calls("SCANPST::Start")[0].Argument("command"),
            Utf8FromWide(directory) + "\\SCANPST.EXE");
}

// What the code page lacks is lost in the stub's answer, but not in the loaded module's path.
TEST_F(ScanNamesTest, ADirectoryThatTheCodePageLacksIsFoundBesideTheLoadedModule) {
  const std::wstring directory = MoveMapi(kLacking);
  const RunOptions options = {.program = CopyShippedProgram(directory, L"qrvadmin.exe")};
  const std::wstring provider = directory + L"\\mspst32.dll";
  EXPECT_EQ(
      Run(Scan() + "-v", options),
      NoProfile(Testing(StorePath(kLackingShown)) +
                    Strings{"GetMapiModuleFullPath Trying to find module using alternative method",
                            "GetMapiModuleFullPath Alternative method found module '" +
                                Utf8FromWide(provider) + "'"},
                provider));
}

}  // namespace
}  // namespace e2e
