// -scanQsf and the stand-alone utility: switches, the order of a run, and the deletion of store
// files with its question.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lab/controller/controller_control.h"
#include "lab/repair/repair_control.h"
#include "tests/e2e/common_lines.h"
#include "tests/e2e/support/mapi_holder.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/support/output.h"
#include "tests/e2e/support/scan_lab_test.h"
#include "tests/e2e/usage_text.h"

namespace e2e {
namespace {

constexpr char kIllegal[] = "illegal value";
constexpr char kDeleted[] = "file delete done.";

std::string NoFiles(const std::string& profile) {
  return Text({"No .qsf files associated with [" + profile + "] profile"});
}

class ScanCommandTest : public ScanLabTest {
 protected:
  // How often the programs so far initialised and uninitialised MAPI.
  size_t Initialised() const { return Calls("MAPIInitialize").size(); }
  size_t Uninitialised() const { return Calls("MAPIUninitialize").size(); }

  // Adds stores and returns all files.
  std::vector<std::wstring> AddStores(size_t count) const {
    for (size_t number = 0; number < count; ++number) Add(L"store" + std::to_wstring(number));
    EXPECT_EQ(Files().size(), count);
    return Files();
  }
};

// Help screens.

TEST_F(ScanCommandTest, TheUtilityShowsItsOwnScreen) {
  EXPECT_EQ(RunUtility("-h"), QsfScanUsage() + "0");
  EXPECT_EQ(RunUtility({}), QsfScanUsage() + "0");
}

TEST_F(ScanCommandTest, TheDispatchedCommandShowsAnother) {
  EXPECT_EQ(Run("-h -scanQsf"), ScanQsfUsage());
  EXPECT_EQ(Run("-scanQsf -p"), SwitchError() + ScanQsfUsage());
}

TEST_F(ScanCommandTest, TheScreenShowsTheUtilitysNameAsItIsWritten) {
  EXPECT_EQ(Run("-h", {.program = CopyProgram(L"QSFSCAN.EXE")}), QsfScanUsage("QSFSCAN"));
}

TEST_F(ScanCommandTest, ARenamedProgramShowsTheDispatchedScreen) {
  const RunOptions options = {.program = CopyProgram(L"foo.exe")};
  EXPECT_EQ(Run("-scanQsf -h", options), ScanQsfUsage("foo"));
  EXPECT_EQ(Run("-scanQsf", options), SwitchError() + ScanQsfUsage("foo"));
}

// Switches.

struct SwitchCase : NamedCase {
  Words words;
};

class SwitchErrorTest : public ScanCommandTest, public ::testing::WithParamInterface<SwitchCase> {};

TEST_P(SwitchErrorTest, IsToldAboveTheScreen) {
  EXPECT_EQ(Run("-scanQsf" + GetParam().words), SwitchError() + ScanQsfUsage());
  EXPECT_EQ(RunUtility(GetParam().words), SwitchError() + QsfScanUsage() + "1");
  EXPECT_TRUE(Journal().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Lines, SwitchErrorTest,
    ::testing::Values(
        SwitchCase{"Unknown", "-p Main -x"}, SwitchCase{"UnknownFirst", "-x -p Main"},
        SwitchCase{"NoSwitch", "Main"}, SwitchCase{"Empty", "-p Main \"\""},
        SwitchCase{"TwoValues", "-p Main Other"}, SwitchCase{"CapitalP", "-P Main"},
        SwitchCase{"CapitalD", "-D Main"}, SwitchCase{"CapitalR", "-p Main -R"},
        SwitchCase{"CapitalM", "-p Main -M"}, SwitchCase{"CapitalV", "-p Main -V"},
        SwitchCase{"CapitalC", "-p Main -C"}, SwitchCase{"CapitalH", "-H"},
        SwitchCase{"ValueInTheSwitch", "-pMain"}, SwitchCase{"TwoSwitchesInOne", "-p Main -rm"},
        SwitchCase{"OtherCommand", "-p Main -findUsers"}, SwitchCase{"ScanWithoutProfile", "-p"},
        SwitchCase{"DeleteWithoutProfile", "-d"}, SwitchCase{"SecondProfileMissing", "-p Main -p"},
        SwitchCase{"SecondDeletionMissing", "-d Main -d"}, SwitchCase{"ScanAndDelete", "-p a -d b"},
        SwitchCase{"DeleteAndScan", "-d b -p a"}, SwitchCase{"EmptyScanAndDelete", "-p \"\" -d b"},
        SwitchCase{"EmptyDeleteAndScan", "-d \"\" -p a"}, SwitchCase{"EmptyProfile", "-p \"\""},
        SwitchCase{"EmptyDeletion", "-d \"\""}, SwitchCase{"LastProfileEmpty", "-p Main -p \"\""},
        SwitchCase{"NoProfile", "-r -m -c"}),
    kByName);

TEST_F(ScanCommandTest, TheCommandWordAloneLacksAProfile) {
  EXPECT_EQ(Run("-scanQsf"), SwitchError() + ScanQsfUsage());
  EXPECT_EQ(RunUtility("-scanQsf"), SwitchError() + QsfScanUsage() + "1");
}

TEST_F(ScanCommandTest, TheLastProfileCounts) {
  EXPECT_EQ(RunUtility("-p a -p b"), NoFiles("b") + "0");
  EXPECT_EQ(Run("-scanQsf -d a -d b"), NoFiles("b"));
  EXPECT_EQ(RunUtility("-p \"\" -p b"), NoFiles("b") + "0");
}

TEST_F(ScanCommandTest, WhateverFollowsIsTheProfile) {
  EXPECT_EQ(RunUtility("-p -d"), NoFiles("-d") + "0");
  EXPECT_EQ(RunUtility("-p -h"), NoFiles("-h") + "0");
  EXPECT_EQ(RunUtility("-d -scanQsf"), NoFiles("-scanQsf") + "0");
}

TEST_F(ScanCommandTest, TheCommandWordIsPassedOverInAnyCaseAndPlace) {
  EXPECT_EQ(Run("-p Nobody -SCANQSF"), NoFiles("Nobody"));
  EXPECT_EQ(Run("-scanqsf -p Nobody -ScanQsf -r"), NoFiles("Nobody"));
  EXPECT_EQ(RunUtility("-SCANQSF -p Nobody"), NoFiles("Nobody") + "0");
}

TEST_F(ScanCommandTest, HelpCountsWhereItIsReached) {
  EXPECT_EQ(RunUtility("-r -m -p a -h"), QsfScanUsage() + "0");
  EXPECT_EQ(RunUtility("-h -x"), QsfScanUsage() + "0");
  EXPECT_EQ(RunUtility("-x -h"), SwitchError() + QsfScanUsage() + "1");
  EXPECT_TRUE(Journal().empty());
}

TEST_F(ScanCommandTest, HelpBehindEverythingDoesNothingElse) {
  EXPECT_EQ(RunUtility("-r -m -p a -v -h"), QsfScanUsage() + Text({"Exiting."}) + "0");
  EXPECT_EQ(Run("-scanQsf -r -m -p a -v -h"), ScanQsfUsage());
  EXPECT_TRUE(Journal().empty());
}

TEST_F(ScanCommandTest, VerboseCountsAlsoBeforeAnError) {
  EXPECT_EQ(RunUtility("-v -x"), SwitchError() + QsfScanUsage() + Text({"Exiting."}) + "1");
  EXPECT_EQ(Run("-scanQsf -v"), SwitchError() + ScanQsfUsage() + Text({"Exiting."}));
}

TEST_F(ScanCommandTest, VerboseBehindAnErrorIsNotReached) {
  EXPECT_EQ(RunUtility("-x -v"), SwitchError() + QsfScanUsage() + "1");
}

// The frame of a run.

TEST_F(ScanCommandTest, AProfileWithoutStoresIsToldAndTheRunGoesOn) {
  ASSERT_TRUE(profile_.Create());
  EXPECT_EQ(Run("-scanQsf -p Main -c"),
            NoFiles("Main") + Text({kNoController, kStartingController}));
  EXPECT_EQ(Uninitialised(), 1U);
}

TEST_F(ScanCommandTest, NoMarkedStoreHasALineOfItsOwn) {
  const std::string file = Utf8FromWide(Add(L"ann").Path());
  const std::string none = Text({"No .qsf files have been marked as corrupt with [Main] profile"});
  EXPECT_EQ(Run("-scanQsf -p Main -m"), none);
  EXPECT_EQ(RunUtility("-m -d Main"), none + "0");
}

TEST_F(ScanCommandTest, OtherProgramsWithMapiStopIt) {
  SetController(lab::ControllerState::kStopped);
  MapiHolder holder(L"outlook.exe");
  const std::string inUse = Run("-scanQsf -p Main -c");
  EXPECT_EQ(Lines(inUse).back(), "outlook.exe");
  EXPECT_EQ(RunUtility("-p Main -c"), inUse + "1");
  EXPECT_EQ(Initialised(), 0U);
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
}

TEST_F(ScanCommandTest, MapiThatDoesNotComeUpIsTold) {
  SetController(lab::ControllerState::kStopped);
  Faults().FailEach("MAPIInitialize", 0x80004005);
  const std::string told = Text({kNoMapi});
  EXPECT_EQ(RunUtility("-p Main -c"), told + "1");
  EXPECT_EQ(Run("-scanQsf -p Main -c -v"), told + Text({"Exiting."}));
  EXPECT_EQ(Uninitialised(), 0U);
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
}

TEST_F(ScanCommandTest, TheControllerIsStartedBehindTheStores) {
  SetController(lab::ControllerState::kStopped);
  EXPECT_EQ(RunUtility("-c -p Nobody"), NoFiles("Nobody") + Text({kStartingController}) + "0");
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
}

TEST_F(ScanCommandTest, TheControllerIsStartedAlsoAfterAnError) {
  const std::string file = Utf8FromWide(Add(L"ann", {.withFile = false}).Path());
  SetController(lab::ControllerState::kRunning);
  EXPECT_EQ(
      Run("-scanQsf -p Main -c"),
      Text({"scanning " + file,
            "CheckRepairQsf. ScanPST Error: The file " + file + " does not exist.",
            "file scan error.", "ServiceStartSvc. Service is already running, currentState=4)",
            kStartingController}));
  EXPECT_EQ(Uninitialised(), 1U);
}

TEST_F(ScanCommandTest, VerboseShowsTheProviderThenTheHandlerThenTheStores) {
  const std::string directory = Utf8FromWide(OutlookDirectory());
  EXPECT_EQ(
      Run("-v -scanQsf -p Nobody"),
      Text({"GetMapiModuleFullPath InitMAPIDir returned '" + directory + "'",
            "GetMapiModuleFullPath Testing module name '" + directory + "\\mspst32.dll'",
            "Provider path: " + directory + "\\mspst32.dll", "The Control Handler is installed.",
            "getQsfPaths. opening key Software\\Microsoft\\Windows NT\\CurrentVersion\\"
            "Windows Messaging Subsystem\\Profiles\\Nobody returned error 0x00000002",
            "No .qsf files associated with [Nobody] profile", "Exiting."}));
}

TEST_F(ScanCommandTest, StoresAreScannedOneAfterTheOtherInTheRegistrysOrder) {
  const std::vector<std::wstring> files = AddStores(3);
  Strings expected;
  for (const std::wstring& file : files) {
    expected = expected + Strings{"scanning " + Utf8FromWide(file), "file scan done."};
  }
  EXPECT_EQ(RunUtility("-p Main"), Text(expected) + "0");
  EXPECT_EQ(lab::RepairTexts(Journal()),
            Strings({Utf8FromWide(files[0]), Utf8FromWide(files[1]), Utf8FromWide(files[2])}));
}

TEST_F(ScanCommandTest, AScanErrorEndsTheRun) {
  const std::vector<std::wstring> files = AddStores(2);
  lab::RepairOptions tool;
  tool.outcome = lab::RepairOutcome::kErrorBox;
  tool.errorText = L"No.";
  PlanTool(tool);
  EXPECT_EQ(Run("-scanQsf -p Main"),
            Text({"scanning " + Utf8FromWide(files[0]), "CheckRepairQsf. ScanPST Error: No.",
                  "file scan error."}));
  EXPECT_EQ(lab::RepairTexts(Journal()), Strings({Utf8FromWide(files[0])}));
}

// Deletion.

class DeleteStoresTest : public ScanCommandTest {
 protected:
  static std::string Prompt(const std::wstring& file) {
    return "Are you sure you want to delete [" + Utf8FromWide(file) + "] ([y]es/[n]o/[c]ancel)?";
  }
  static std::string Deleting(const std::wstring& file) { return "deleting " + Utf8FromWide(file); }

  std::string Delete(const std::string& input, const Words& more = {}) {
    return Run("-scanQsf -d Main" + more, {.input = input});
  }
};

TEST_F(DeleteStoresTest, YesDeletesTheFile) {
  const std::wstring file = AddStores(1)[0];
  EXPECT_EQ(Delete("y\n"), Text({Deleting(file), Prompt(file), kDeleted}));
  EXPECT_FALSE(Exists(file));
  EXPECT_TRUE(profile_.Find(L"store0@example.com"));
}

TEST_F(DeleteStoresTest, TheUtilityDeletesToo) {
  const std::wstring file = AddStores(1)[0];
  EXPECT_EQ(RunUtility("-d Main", {.input = "y\n"}),
            Text({Deleting(file), Prompt(file), kDeleted}) + "0");
  EXPECT_FALSE(Exists(file));
}

TEST_F(DeleteStoresTest, NoLeavesTheFileAndSaysDone) {
  const std::wstring file = AddStores(1)[0];
  EXPECT_EQ(Delete("n\n"), Text({Deleting(file), Prompt(file), kDeleted}));
  EXPECT_TRUE(IsSound(file));
}

TEST_F(DeleteStoresTest, EachFileIsAskedFor) {
  const std::vector<std::wstring> files = AddStores(3);
  EXPECT_EQ(Delete("y\nn\ny\n"),
            Text({Deleting(files[0]), Prompt(files[0]), kDeleted, Deleting(files[1]),
                  Prompt(files[1]), kDeleted, Deleting(files[2]), Prompt(files[2]), kDeleted}));
  EXPECT_FALSE(Exists(files[0]));
  EXPECT_TRUE(Exists(files[1]));
  EXPECT_FALSE(Exists(files[2]));
}

TEST_F(DeleteStoresTest, CancelEndsTheRunInSilence) {
  const std::vector<std::wstring> files = AddStores(2);
  EXPECT_EQ(Delete("c\ny\n"), Text({Deleting(files[0]), Prompt(files[0])}));
  EXPECT_TRUE(Exists(files[0]));
  EXPECT_TRUE(Exists(files[1]));
}

TEST_F(DeleteStoresTest, VerboseTellsTheCancel) {
  const std::vector<std::wstring> files = AddStores(2);
  const Strings lines = Lines(Delete("c\ny\n", "-v"));
  ASSERT_GE(lines.size(), 4U);
  EXPECT_EQ(
      Strings(lines.end() - 4, lines.end()),
      Strings({Deleting(files[0]), Prompt(files[0]), "delete operation cancelled", "Exiting."}));
  EXPECT_TRUE(Exists(files[0]));
}

TEST_F(DeleteStoresTest, TheControllerIsStartedAfterACancel) {
  SetController(lab::ControllerState::kStopped);
  const std::wstring file = AddStores(1)[0];
  EXPECT_EQ(Delete("c", "-c"), Text({Deleting(file), Prompt(file), kStartingController}));
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
  EXPECT_EQ(Uninitialised(), 1U);
}

struct IllegalCase : NamedCase {
  std::string input;
  int times;  // how often it is illegal before the "n" that is given behind it
};

class IllegalAnswerTest : public DeleteStoresTest,
                          public ::testing::WithParamInterface<IllegalCase> {};

TEST_P(IllegalAnswerTest, IsToldAndThePromptComesAgain) {
  const std::wstring file = AddStores(1)[0];
  Strings expected = {Deleting(file), Prompt(file)};
  for (int time = 0; time < GetParam().times; ++time) {
    expected = expected + Strings{kIllegal, Prompt(file)};
  }
  EXPECT_EQ(Delete(GetParam().input + "n\n"), Text(expected + Strings{kDeleted}));
  EXPECT_TRUE(Exists(file));
}

INSTANTIATE_TEST_SUITE_P(
    Answers, IllegalAnswerTest,
    ::testing::Values(IllegalCase{"OtherLetter", "x\n", 1}, IllegalCase{"CapitalY", "Y\n", 1},
                      IllegalCase{"CapitalN", "N\n", 1}, IllegalCase{"CapitalC", "C\n", 1},
                      IllegalCase{"Digit", "1\n", 1}, IllegalCase{"Twice", "x\nY\n", 2},
                      IllegalCase{"LettersOfOneLine", "xq ", 2},
                      IllegalCase{"EmptyLines", "\n\r\n\n", 0},
                      IllegalCase{"Blanks", " \t  \n\t", 0}),
    kByName);

TEST_F(DeleteStoresTest, TheRestOfALineAnswersTheNextPrompts) {
  const std::vector<std::wstring> files = AddStores(2);
  EXPECT_EQ(Delete("yes\nn\n"), Text({Deleting(files[0]), Prompt(files[0]), kDeleted,
                                      Deleting(files[1]), Prompt(files[1]), kIllegal,
                                      Prompt(files[1]), kIllegal, Prompt(files[1]), kDeleted}));
  EXPECT_FALSE(Exists(files[0]));
  EXPECT_TRUE(Exists(files[1]));
}

TEST_F(DeleteStoresTest, LettersOfOneLineAnswerSeveralPrompts) {
  const std::vector<std::wstring> files = AddStores(3);
  Delete("nyc");
  EXPECT_TRUE(Exists(files[0]));
  EXPECT_FALSE(Exists(files[1]));
  EXPECT_TRUE(Exists(files[2]));
}

TEST_F(DeleteStoresTest, ALetterOutsideAsciiIsIllegal) {
  const std::wstring file = AddStores(1)[0];
  const Strings lines = Lines(Delete("\xC3\xA9\nc\n"));
  ASSERT_GE(lines.size(), 4U);
  EXPECT_EQ(lines[2], kIllegal);
  EXPECT_EQ(lines[3], Prompt(file));
  EXPECT_TRUE(Exists(file));
}

TEST_F(DeleteStoresTest, TheEndOfTheInputEndsTheRun) {
  const std::vector<std::wstring> files = AddStores(2);
  EXPECT_EQ(Delete(""), Text({Deleting(files[0]), Prompt(files[0])}));
  EXPECT_EQ(Delete("x"), Text({Deleting(files[0]), Prompt(files[0]), kIllegal, Prompt(files[0])}));
  EXPECT_EQ(Delete("\n \n"), Text({Deleting(files[0]), Prompt(files[0])}));
  EXPECT_TRUE(Exists(files[0]));
  EXPECT_TRUE(Exists(files[1]));
}

TEST_F(DeleteStoresTest, TheEndOfTheInputBehindAYesSparesTheNextFile) {
  const std::vector<std::wstring> files = AddStores(2);
  EXPECT_EQ(Delete("y"), Text({Deleting(files[0]), Prompt(files[0]), kDeleted, Deleting(files[1]),
                               Prompt(files[1])}));
  EXPECT_FALSE(Exists(files[0]));
  EXPECT_TRUE(Exists(files[1]));
}

TEST_F(DeleteStoresTest, AFileLivesUntilItsOwnPromptIsAnswered) {
  const std::vector<std::wstring> files = AddStores(2);
  RunningProgram program = StartAdmin("-scanQsf -d Main");
  ASSERT_TRUE(program.WaitForOutput(Prompt(files[0]) + "\r\n"));
  EXPECT_TRUE(Exists(files[0]));
  program.Write("y\n");
  ASSERT_TRUE(program.WaitForOutput(Prompt(files[1]) + "\r\n"));
  EXPECT_FALSE(Exists(files[0]));
  EXPECT_TRUE(Exists(files[1]));
  program.Write("y\n");
  EXPECT_EQ(program.Wait().exitCode, 0U);
  EXPECT_FALSE(Exists(files[1]));
}

TEST_F(DeleteStoresTest, AFileThatIsHeldOpenEndsTheRun) {
  const std::vector<std::wstring> files = AddStores(2);
  const lab::QsfLock lock(files[0]);
  ASSERT_TRUE(lock.Held());
  EXPECT_EQ(Delete("y\ny\n"), Text({Deleting(files[0]), Prompt(files[0]), "file delete error."}));
  EXPECT_TRUE(Exists(files[0]));
  EXPECT_TRUE(Exists(files[1]));
}

TEST_F(DeleteStoresTest, AFileThatIsNotThereEndsTheRun) {
  const std::vector<std::wstring> files = AddStores(2);
  ASSERT_TRUE(DeleteFileW(files[0].c_str()));
  SetController(lab::ControllerState::kStopped);
  EXPECT_EQ(Delete("y\ny\n", "-c"), Text({Deleting(files[0]), Prompt(files[0]),
                                          "file delete error.", kStartingController}));
  EXPECT_TRUE(Exists(files[1]));
}

TEST_F(DeleteStoresTest, AFileThatIsNotThereIsDoneAfterANo) {
  const std::vector<std::wstring> files = AddStores(1);
  ASSERT_TRUE(DeleteFileW(files[0].c_str()));
  EXPECT_EQ(Delete("n\n"), Text({Deleting(files[0]), Prompt(files[0]), kDeleted}));
}

TEST_F(DeleteStoresTest, OnlyTheRootStoreWithThatSwitch) {
  const std::wstring root = StorePath(L"root.qsf");
  profile_.AddRootStore(L"bes@example.com", root);
  const std::wstring other = Add(L"ann").Path();
  EXPECT_EQ(Delete("y\ny\n", "-r"), Text({Deleting(root), Prompt(root), kDeleted}));
  EXPECT_FALSE(Exists(root));
  EXPECT_TRUE(Exists(other));
}

TEST_F(DeleteStoresTest, OnlyMarkedStoresWithThatSwitch) {
  const std::wstring file = Add(L"ann", {.corruptionMark = 0x80000000}).Path();
  const std::wstring other = Add(L"bob").Path();
  EXPECT_EQ(Delete("y\ny\n", "-m"), Text({Deleting(file), Prompt(file), kDeleted}));
  EXPECT_FALSE(Exists(file));
  EXPECT_TRUE(Exists(other));
}

// A line holds 254 characters, the question any number.
TEST_F(DeleteStoresTest, ALongPathIsAskedForWhole) {
  const std::wstring file = L"C:\\" + std::wstring(300, L'q') + L".qsf";
  Add(L"ann", {.withFile = false, .storedPath = file});
  EXPECT_EQ(Delete("y\n"),
            Text({Deleting(file).substr(0, 254), Prompt(file), "file delete error."}));
}

TEST_F(DeleteStoresTest, APathOutsideTheCodePageIsShownAndDeleted) {
  const std::wstring file = StorePath(L"\u4e2d \u00fc %s.qsf");
  profile_.AddSecondaryStore(L"ann@example.com", file);
  EXPECT_EQ(Delete("y\n"), Text({Deleting(file), Prompt(file), kDeleted}));
  EXPECT_FALSE(Exists(file));
}

TEST_F(DeleteStoresTest, CtrlCStopsBeforeTheNextFile) {
  SetController(lab::ControllerState::kStopped);
  const std::vector<std::wstring> files = AddStores(2);
  RunningProgram program = StartAdmin("-scanQsf -d Main -c");
  ASSERT_TRUE(program.WaitForOutput(Prompt(files[0]) + "\r\n"));
  ASSERT_TRUE(program.SendCtrlC());
  ASSERT_TRUE(program.WaitForOutput("*User Break\r\n"));
  // The line comes before the flag is set, and nothing shows when that has happened.
  Sleep(500);
  program.Write("y\ny\n");
  EXPECT_EQ(program.Wait().output, Text({Deleting(files[0]), Prompt(files[0]), "*User Break",
                                         kDeleted, kStartingController}));
  EXPECT_TRUE(Exists(files[1]));
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
}

}  // namespace
}  // namespace e2e
