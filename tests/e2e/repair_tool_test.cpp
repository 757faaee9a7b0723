// How the scan command drives the repair tool: what it prints, what reaches the tool's windows,
// what becomes of the store file, and that nothing of the tool is left behind.
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "lab/common/qsf_file.h"
#include "lab/common/text.h"
#include "lab/repair/repair_control.h"
#include "src/platform/handle.h"
#include "tests/e2e/support/output.h"
#include "tests/e2e/support/scan_lab_test.h"

namespace e2e {
namespace {

using lab::QsfDamage;
using lab::RepairPlan;
using std::chrono::milliseconds;

constexpr char kFirstLine[] = "%In hs.";
constexpr wchar_t kToolWindowClass[] = L"QrvLabInboxRepair";
constexpr milliseconds kPoll{1000};

std::string Line(const std::string& text) { return "CheckRepairQsf. " + text; }

const std::string& LookingForOk() {
  static const std::string kLine = Line("looking for OK button");
  return kLine;
}
const std::string& LookingForYes() {
  static const std::string kLine = Line("Looking for YES button");
  return kLine;
}
const std::string& LookingForWindow() {
  static const std::string kLine = Line("looking for ScanPST window");
  return kLine;
}
const std::string& SendingClose() {
  static const std::string kLine = Line("sending windows WM_CLOSE message");
  return kLine;
}

// `lines` with one round of several that follow one another with these two lines each. How many
// there are is a matter of the tool's time.
Strings OneRoundOf(const Strings& lines, const std::string& first, const std::string& second) {
  Strings kept;
  for (size_t at = 0; at < lines.size(); ++at) {
    const bool repeated = at + 2 < lines.size() && lines[at] == first && lines[at + 1] == second &&
                          lines[at + 2] == first;
    if (repeated) {
      ++at;
    } else {
      kept.push_back(lines[at]);
    }
  }
  return kept;
}

std::string WithSingleRounds(const std::string& output) {
  return Text(OneRoundOf(OneRoundOf(Lines(output), LookingForOk(), LookingForYes()),
                         LookingForWindow(), SendingClose()));
}

// From "quitting" to the function's end.
Strings End() {
  return {Line("quitting ScanPST"),
          LookingForWindow(),
          SendingClose(),
          Line("waiting for process to exit"),
          Line("releasing handles"),
          "Exiting CheckRepairQsf."};
}

Strings Sound() {
  return {Line("found OK button. looking for edit control"),
          Line("found edit control. No errors found. clicking OK")};
}

Strings ErrorBox(const std::string& text) {
  return {Line("found OK button. looking for edit control"),
          Line("did not find edit control. there was an error. clicking OK"),
          Line("ScanPST Error: " + text)};
}

const char kDone[] = "file scan done.";
const char kError[] = "file scan error.";

class RepairToolTest : public ScanLabTest {
 protected:
  // What a verbose run prints before the first file.
  Strings Head() const {
    return ModuleLines() + Strings{"Provider path: " + Utf8FromWide(ProviderPath()),
                                   "The Control Handler is installed."};
  }
  Strings ModuleLines() const {
    return {"GetMapiModuleFullPath InitMAPIDir returned '" + Utf8FromWide(OutlookDirectory()) + "'",
            "GetMapiModuleFullPath Testing module name '" + Utf8FromWide(ProviderPath()) + "'"};
  }
  // Of a file: until the tool is started; until it has a window; until its result is waited for.
  Strings Creating(const std::wstring& file) const {
    return Strings{"scanning " + Utf8FromWide(file), kFirstLine} + ModuleLines() +
           Strings{Line("MAPI Module Full Path: " + Utf8FromWide(ProviderPath())),
                   Line("Creating process")};
  }
  Strings Finding(const std::wstring& file) const {
    return Creating(file) + Strings{Line("finding scanpst window handle")};
  }
  Strings Begin(const std::wstring& file) const {
    return Finding(file) + Strings{Line("finding edit on window"),
                                   Line("writing [" + Utf8FromWide(file) + "] on edit"),
                                   Line("finding the start button"),
                                   Line("clicking the start button"), Line("waiting for results")};
  }

  // What a quiet run prints that scans one file: the line that says so, and these.
  static std::string Scanned(const std::wstring& file, const Strings& lines) {
    return Text(Strings{"scanning " + Utf8FromWide(file)} + lines);
  }
  // What a verbose run prints that scans one file, with the lines of the tool's results.
  std::string Told(const std::wstring& file, const Strings& results, const char* end) const {
    return Text(Head() + Begin(file) + results + End() + Strings{end, "Exiting."});
  }

  static Words Arguments(const Words& more = {}) { return "-scanQsf -p Main" + more; }
  std::string Scan() { return Run(Arguments()); }
  // Condensed to single rounds.
  std::string ScanVerbosely() { return WithSingleRounds(Run(Arguments("-v"))); }

  Strings Clicks() const { return lab::RepairClicks(Journal()); }
  Strings Closes() const { return Sorted(lab::RepairCloses(Journal())); }

  // Waits until the tool has journalled a call.
  bool WaitForTool(const char* call) const {
    for (int attempt = 0; attempt < 300; ++attempt) {
      if (!Calls(call).empty()) return true;
      Sleep(50);
    }
    return false;
  }

  static void ExpectNothingLeft() {
    EXPECT_TRUE(lab::RunningRepairTools().empty());
    EXPECT_EQ(FindWindowW(kToolWindowClass, nullptr), nullptr);
  }
};

// Sound stores.

TEST_F(RepairToolTest, ASoundStoreIsDone) {
  const std::wstring file = Add(L"ann").Path();
  const auto size = lab::QsfSize(file);
  EXPECT_EQ(Scan(), Scanned(file, {kDone}));
  EXPECT_EQ(Clicks(), Strings({"&Start", "OK"}));
  EXPECT_EQ(lab::RepairTexts(Journal()), Strings({Utf8FromWide(file)}));
  EXPECT_EQ(lab::QsfSize(file), size);
  EXPECT_FALSE(lab::BackupExists(file));
  ExpectNothingLeft();
}

TEST_F(RepairToolTest, ASoundStoreTellsEachStep) {
  const std::wstring file = Add(L"ann").Path();
  EXPECT_EQ(ScanVerbosely(), Told(file, Sound(), kDone));
}

TEST_F(RepairToolTest, TheToolIsGivenItsPathAndTheProgramsDirectory) {
  Add(L"ann");
  RunOptions options;
  options.workingDirectory = ProgramDirectory();
  std::filesystem::create_directories(options.workingDirectory);
  Run(Arguments(), options);
  ASSERT_EQ(Calls("SCANPST::Start").size(), 1U);
  EXPECT_EQ(Calls("SCANPST::Start")[0].Argument("command"),
            Utf8FromWide(OutlookDirectory()) + "\\SCANPST.EXE");
  EXPECT_EQ(Calls("SCANPST::Start")[0].Argument("directory"), Utf8FromWide(ProgramDirectory()));
}

TEST_F(RepairToolTest, AToolInADirectoryWithABlankIsStarted) {
  const std::wstring directory = StorePath(L"out look");
  ASSERT_TRUE(lab::PlaceRepairTool(directory, LabBinaries() / L"SCANPST.EXE"));
  PlanStub(lab::StubPlan().Path("*", lab::NarrowFromWide(directory) + "\\olmapi32.dll"));
  const std::wstring file = Add(L"ann").Path();
  EXPECT_EQ(Scan(), Scanned(file, {kDone}));
}

// A message that is sent overtakes one that is posted.
TEST_F(RepairToolTest, ClicksArePostedAndTheTextAndTheEndAreSent) {
  Add(L"ann");
  Scan();
  Strings sent;
  Strings posted;
  for (const lab::JournalEntry& entry : lab::RepairMessages(Journal())) {
    (entry.Argument("how") == "sent" ? sent : posted)
        .push_back(entry.call + ' ' + entry.Argument("control") + ' ' + entry.Argument("wParam") +
                   ' ' + entry.Argument("lParam"));
  }
  EXPECT_EQ(sent, Strings({"SCANPST::WM_SETTEXT  0x0 ", "SCANPST::WM_CLOSE  0x0 0x0"}));
  EXPECT_EQ(
      posted,
      Strings({"SCANPST::WM_LBUTTONDOWN &Start 0x1 0x0", "SCANPST::WM_LBUTTONUP &Start 0x0 0x0",
               "SCANPST::WM_LBUTTONDOWN OK 0x1 0x0", "SCANPST::WM_LBUTTONUP OK 0x0 0x0"}));
}

TEST_F(RepairToolTest, APathOutsideTheCodePageIsTyped) {
  const std::wstring file = StorePath(L"\u4e2d \u00fc.qsf");
  profile_.AddSecondaryStore(L"ann@example.com", file);
  EXPECT_EQ(Scan(), Scanned(file, {kDone}));
  EXPECT_EQ(lab::RepairTexts(Journal()), Strings({Utf8FromWide(file)}));
}

TEST_F(RepairToolTest, ABusyToolIsWaitedFor) {
  PlanTool({.startTime = 1500});
  const std::wstring file = Add(L"ann").Path();
  EXPECT_EQ(Scan(), Scanned(file, {kDone}));
}

TEST_F(RepairToolTest, AToolThatClosesOnItsOwnIsWaitedFor) {
  PlanTool({.okCloses = true, .okDelay = 0});
  const std::wstring file = Add(L"ann").Path();
  EXPECT_EQ(ScanVerbosely(), Told(file, Sound(), kDone));
  ExpectNothingLeft();
}

// Stores with errors.

class DamagedStoreTest : public RepairToolTest, public ::testing::WithParamInterface<QsfDamage> {};

TEST_P(DamagedStoreTest, IsRepaired) {
  const std::wstring file = AddDamaged(L"ann", GetParam());
  ASSERT_FALSE(IsSound(file));
  EXPECT_EQ(Scan(), Scanned(file, {kDone}));
  EXPECT_TRUE(IsSound(file));
  EXPECT_TRUE(lab::BackupExists(file));
  ExpectNothingLeft();
}

INSTANTIATE_TEST_SUITE_P(Damages, DamagedStoreTest,
                         ::testing::Values(QsfDamage::kChecksum, QsfDamage::kTruncated,
                                           QsfDamage::kHeader, QsfDamage::kCount),
                         [](const auto& test) {
                           return std::string(lab::QsfDamageText(test.param));
                         });

TEST_F(RepairToolTest, ADamagedStoreTellsEachStep) {
  const std::wstring file = AddDamaged(L"ann", QsfDamage::kChecksum);
  EXPECT_EQ(ScanVerbosely(),
            Told(file,
                 Strings{Line("found repair button. there are errors. clicking repair"),
                         Line("waiting for repair to finish"), LookingForOk(),
                         Line("found OK button. done repairing. clicking OK")},
                 kDone));
  EXPECT_EQ(Clicks(), Strings({"&Start", "&Repair", "OK"}));
}

// Rounds in which neither button was there stand before those in which one was.
TEST_F(RepairToolTest, TheQuestionAboutTheBackupIsAnsweredWithYes) {
  PlanTool({.repairTime = 1500});
  const std::wstring file = AddDamaged(L"ann", QsfDamage::kTruncated);
  ASSERT_TRUE(CopyFileW(OutlookDirectory().append(L"\\SCANPST.EXE").c_str(),
                        lab::BackupPathOf(file).c_str(), FALSE));
  EXPECT_EQ(
      ScanVerbosely(),
      Told(file,
           Strings{Line("found repair button. there are errors. clicking repair"),
                   Line("waiting for repair to finish"), LookingForOk(), LookingForYes(),
                   Line("found YES button. this is the replace backup file dialog. clicking YES"),
                   LookingForOk(), Line("found OK button. done repairing. clicking OK")},
           kDone));
  EXPECT_EQ(Clicks(), Strings({"&Start", "&Repair", "&Yes", "OK"}));
  EXPECT_TRUE(IsSound(file));
}

TEST_F(RepairToolTest, EachRoundOfARepairIsTold) {
  PlanTool({.repairTime = 6000});
  AddDamaged(L"ann", QsfDamage::kChecksum);
  const std::string output = Run(Arguments("-v"));
  EXPECT_GE(CountLines(output, LookingForYes()), 4);
  EXPECT_EQ(CountLines(output, LookingForOk()), CountLines(output, LookingForYes()) + 1);
}

TEST_F(RepairToolTest, MinorInconsistenciesAreRepairedBehindTheirQuestion) {
  const std::wstring file = AddDamaged(L"ann", QsfDamage::kCount);
  EXPECT_EQ(ScanVerbosely(),
            Told(file, Strings{Line("User has canceled. Clicking Yes Button")} + Sound(), kDone));
  EXPECT_EQ(Clicks(), Strings({"&Start", "&Yes", "OK"}));
  EXPECT_TRUE(IsSound(file));
}

TEST_F(RepairToolTest, SeveralQuestionsOfAScanAreAnsweredEach) {
  PlanTool({.backupQuestion = lab::BackupQuestion::kAlways});
  const std::wstring file = AddDamaged(L"ann", QsfDamage::kCount);
  const std::string yes = Line("User has canceled. Clicking Yes Button");
  EXPECT_EQ(ScanVerbosely(), Told(file, Strings{yes, yes} + Sound(), kDone));
  EXPECT_EQ(Clicks(), Strings({"&Start", "&Yes", "&Yes", "OK"}));
}

// The tool's errors.

TEST_F(RepairToolTest, TheTextOfAnErrorBoxIsAlwaysShown) {
  PlanTool({.outcome = lab::RepairOutcome::kErrorBox, .errorText = L"The disk is on fire."});
  const std::wstring file = Add(L"ann").Path();
  EXPECT_EQ(Scan(), Scanned(file, {Line("ScanPST Error: The disk is on fire."), kError}));
  EXPECT_EQ(ScanVerbosely(), Told(file, ErrorBox("The disk is on fire."), kError));
  EXPECT_EQ(Clicks(), Strings({"&Start", "OK", "&Start", "OK"}));
  ExpectNothingLeft();
}

TEST_F(RepairToolTest, TheErrorIsTheSecondTextOfTheBox) {
  PlanTool({.outcome = lab::RepairOutcome::kErrorBox,
            .errorText = L"\u4e2d: 100%s.",
            .errorStatics = 3});
  const std::wstring file = Add(L"ann").Path();
  EXPECT_EQ(Scan(), Scanned(file, {Line("ScanPST Error: \xE4\xB8\xAD: 100%s."), kError}));
}

TEST_F(RepairToolTest, ABoxWithoutASecondTextHasNoLine) {
  PlanTool({.outcome = lab::RepairOutcome::kErrorBox, .errorStatics = 1});
  const std::wstring file = Add(L"ann").Path();
  EXPECT_EQ(Scan(), Scanned(file, {kError}));
  EXPECT_EQ(Clicks(), Strings({"&Start", "OK"}));
}

TEST_F(RepairToolTest, ALongErrorIsCutAtTheLinesEnd) {
  PlanTool({.outcome = lab::RepairOutcome::kErrorBox, .errorText = std::wstring(3000, L'e')});
  const std::wstring file = Add(L"ann").Path();
  const std::string line = Line("ScanPST Error: " + std::string(3000, 'e')).substr(0, 254);
  EXPECT_EQ(Scan(), Scanned(file, {line, kError}));
}

TEST_F(RepairToolTest, AFileThatIsInUseIsTheToolsError) {
  const std::wstring file = Add(L"ann").Path();
  const lab::QsfLock lock(file);
  ASSERT_TRUE(lock.Held());
  EXPECT_EQ(Scan(), Scanned(file, {Line("ScanPST Error: The file " + Utf8FromWide(file) +
                                        " is in use by another program."),
                                   kError}));
}

TEST_F(RepairToolTest, TheEditFieldDecidesWhatAnOkMeans) {
  RepairPlan plan;
  plan.File(L"ann.qsf").resultEdit = lab::ResultEdit::kNever;
  PlanTool(plan);
  const std::wstring ann = Add(L"ann").Path();
  EXPECT_EQ(Scan(),
            Scanned(ann, {Line("ScanPST Error: No errors were found in this file."), kError}));
  lab::RepairOptions& always = plan.File(L"bob.qsf");
  always.outcome = lab::RepairOutcome::kErrorBox;
  always.resultEdit = lab::ResultEdit::kAlways;
  PlanTool(plan);
  ASSERT_TRUE(profile_.Delete());
  const std::wstring bob = Add(L"bob").Path();
  EXPECT_EQ(Scan(), Scanned(bob, {kDone}));
}

TEST_F(RepairToolTest, AToolWithoutAnEditFieldIsStartedAllTheSame) {
  PlanTool({.startEdit = false});
  const std::wstring file = Add(L"ann").Path();
  EXPECT_EQ(ScanVerbosely(), Told(file, ErrorBox("The file  does not exist."), kError));
  EXPECT_TRUE(lab::RepairTexts(Journal()).empty());
}

// Tools that do not come up.

TEST_F(RepairToolTest, WithoutAToolTheProcessIsNotCreated) {
  ASSERT_TRUE(DeleteFileW(OutlookDirectory().append(L"\\SCANPST.EXE").c_str()));
  const std::wstring file = Add(L"ann").Path();
  const std::string line = Line("Process failed to create.exiting");
  EXPECT_EQ(Scan(), Scanned(file, {line, kError}));
  EXPECT_EQ(ScanVerbosely(), Text(Head() + Creating(file) +
                                  Strings{line, Line("releasing handles"),
                                          "Exiting CheckRepairQsf.", kError, "Exiting."}));
}

TEST_F(RepairToolTest, AToolThatIsNoProgramIsNotCreated) {
  ASSERT_TRUE(
      lab::WriteWholeFile(OutlookDirectory().append(L"\\SCANPST.EXE"), "This is no program."));
  const std::wstring file = Add(L"ann").Path();
  EXPECT_EQ(Scan(), Scanned(file, {Line("Process failed to create.exiting"), kError}));
}

const char kNotLoaded[] = "ScanPST was not loaded or terminated. another ScanPST running?";

TEST_F(RepairToolTest, AToolThatEndsAtOnceIsTold) {
  PlanTool({.death = lab::RepairDeath::kAtStart});
  const std::wstring file = Add(L"ann").Path();
  EXPECT_EQ(Scan(), Scanned(file, {Line(kNotLoaded), kError}));
  EXPECT_EQ(ScanVerbosely(), Text(Head() + Finding(file) +
                                  Strings{Line(kNotLoaded), Line("releasing handles"),
                                          "Exiting CheckRepairQsf.", kError, "Exiting."}));
}

TEST_F(RepairToolTest, AToolWithoutAWindowIsToldAndLeftRunning) {
  PlanTool({.window = false, .lifetime = 20000});
  const std::wstring file = Add(L"ann").Path();
  RunningProgram program = StartAdmin(Arguments());
  ASSERT_TRUE(program.WaitForOutput(kError));
  EXPECT_EQ(lab::RunningRepairTools().size(), 1U);
  EXPECT_EQ(program.Wait().output, Scanned(file, {Line(kNotLoaded), kError}));
  EXPECT_EQ(lab::EndRepairTools(), 1U);
  EXPECT_TRUE(lab::RepairMessages(Journal()).empty());
}

TEST_F(RepairToolTest, AWindowThatComesLateIsNotWaitedFor) {
  PlanTool({.windowDelay = 15000, .lifetime = 20000});
  const std::wstring file = Add(L"ann").Path();
  RunningProgram program = StartAdmin(Arguments());
  EXPECT_EQ(program.Wait().output, Scanned(file, {Line(kNotLoaded), kError}));
  EXPECT_EQ(lab::EndRepairTools(), 1U);
}

// A missing button gets no click, and the scan never begins.
TEST_F(RepairToolTest, AToolWithoutAStartButtonIsWaitedForWithoutEnd) {
  PlanTool({.startButton = false});
  Add(L"ann");
  RunningProgram program = StartAdmin(Arguments());
  ASSERT_TRUE(WaitForTool("SCANPST::WM_SETTEXT"));
  Sleep(2500);
  EXPECT_TRUE(program.IsRunning());
  EXPECT_TRUE(Clicks().empty());
  program.Kill();
  lab::EndRepairTools();
}

// Tools that die. Whoever waits for their buttons waits on.

TEST_F(RepairToolTest, AToolThatDiesInItsScanIsWaitedForWithoutEnd) {
  PlanTool({.death = lab::RepairDeath::kInScan});
  const std::wstring file = Add(L"ann").Path();
  RunningProgram program = StartAdmin(Arguments());
  ASSERT_TRUE(WaitForTool("SCANPST::Die"));
  Sleep(2500);
  EXPECT_TRUE(program.IsRunning());
  EXPECT_EQ(program.OutputSoFar(), Text({"scanning " + Utf8FromWide(file)}));
  program.Kill();
}

TEST_F(RepairToolTest, CtrlCEndsTheWaitForAToolThatDiedInItsRepair) {
  PlanTool({.death = lab::RepairDeath::kInRepair});
  const std::wstring file = AddDamaged(L"ann", QsfDamage::kChecksum);
  RunningProgram program = StartAdmin(Arguments());
  ASSERT_TRUE(WaitForTool("SCANPST::Die"));
  Sleep(1500);
  ASSERT_TRUE(program.IsRunning());
  ASSERT_TRUE(program.SendCtrlC());
  EXPECT_EQ(program.Wait().output, Scanned(file, {"*User Break", kError}));
  ExpectNothingLeft();
}

// Ctrl+C.

class RepairBreakTest : public RepairToolTest {
 protected:
  // A verbose run that was interrupted behind its first `text`, once the tool has journalled
  // `call`; condensed to single rounds.
  std::string Interrupt(const std::string& text, const char* call, const Words& more = {}) {
    RunningProgram program = StartAdmin(Arguments("-v") + more);
    EXPECT_TRUE(program.WaitForOutput(text + "\r\n"));
    EXPECT_TRUE(WaitForTool(call));
    Sleep(200);
    EXPECT_TRUE(program.SendCtrlC());
    const RunResult result = program.Wait();
    EXPECT_EQ(result.exitCode, 0U);
    return WithSingleRounds(result.output);
  }
};

Strings Cancelling() {
  return {"*User Break", Line("finding the cancel button"), Line("clicking the cancel button")};
}

TEST_F(RepairBreakTest, AScanIsCancelledThroughTheTool) {
  PlanTool({.scanTime = 20000});
  const std::wstring file = Add(L"ann").Path();
  EXPECT_EQ(Interrupt(Line("waiting for results"), "SCANPST::Scan"),
            Told(file,
                 Cancelling() + Strings{Line("User has canceled. Clicking Yes Button")} +
                     ErrorBox("The scan was canceled."),
                 kError));
  EXPECT_EQ(Clicks(), Strings({"&Start", "Cancel", "&Yes", "OK"}));
  EXPECT_EQ(Calls("SCANPST::Cancel").size(), 1U);
  ExpectNothingLeft();
}

TEST_F(RepairBreakTest, CancelIsClickedOnceHoweverLongTheScanGoesOn) {
  PlanTool({.scanTime = kTimeForCtrlC + 1000,
            .cancelQuestion = false,
            .afterCancel = lab::AfterCancel::kContinue});
  const std::wstring file = Add(L"ann").Path();
  EXPECT_EQ(Interrupt(Line("waiting for results"), "SCANPST::Scan"),
            Told(file, Cancelling() + Sound(), kDone));
  EXPECT_EQ(Clicks(), Strings({"&Start", "Cancel", "OK"}));
}

TEST_F(RepairBreakTest, WithoutACancelButtonTheScanIsWaitedFor) {
  PlanTool({.scanTime = kTimeForCtrlC, .cancelButton = false});
  const std::wstring file = Add(L"ann").Path();
  EXPECT_EQ(Interrupt(Line("waiting for results"), "SCANPST::Scan"),
            Told(file, Cancelling() + Sound(), kDone));
  EXPECT_EQ(Clicks(), Strings({"&Start", "OK"}));
}

TEST_F(RepairBreakTest, NoFurtherFileIsScannedAndTheControllerIsStarted) {
  PlanTool({.scanTime = kTimeForCtrlC,
            .cancelQuestion = false,
            .afterCancel = lab::AfterCancel::kSound});
  SetController(lab::ControllerState::kStopped);
  Add(L"ann");
  Add(L"bob");
  RunningProgram program = StartAdmin(Arguments("-c"));
  ASSERT_TRUE(WaitForTool("SCANPST::Scan"));
  ASSERT_TRUE(program.SendCtrlC());
  const Strings lines = Lines(program.Wait().output);
  const Strings files = lab::RepairTexts(Journal());
  ASSERT_EQ(files.size(), 1U);
  EXPECT_EQ(lines, Strings({"scanning " + files[0], "*User Break", kDone,
                            "Starting BlackBerry Controller Service."}));
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
}

TEST_F(RepairBreakTest, ARepairIsBrokenOffAtOnce) {
  PlanTool({.repairTime = 30000});
  const std::wstring file = AddDamaged(L"ann", QsfDamage::kChecksum);
  EXPECT_EQ(Interrupt(LookingForYes(), "SCANPST::Scan"),
            Told(file,
                 Strings{Line("found repair button. there are errors. clicking repair"),
                         Line("waiting for repair to finish"), LookingForOk(), LookingForYes(),
                         "*User Break"},
                 kError));
  EXPECT_EQ(Clicks(), Strings({"&Start", "&Repair"}));
  ExpectNothingLeft();
}

TEST_F(RepairBreakTest, ABreakInTheScanAlsoEndsTheRepairBehindIt) {
  PlanTool({.scanTime = kTimeForCtrlC,
            .cancelQuestion = false,
            .afterCancel = lab::AfterCancel::kContinue,
            .repairTime = 30000});
  const std::wstring file = AddDamaged(L"ann", QsfDamage::kChecksum);
  EXPECT_EQ(
      Interrupt(Line("waiting for results"), "SCANPST::Scan"),
      Told(file,
           Cancelling() + Strings{Line("found repair button. there are errors. clicking repair"),
                                  Line("waiting for repair to finish")},
           kError));
  EXPECT_EQ(Clicks(), Strings({"&Start", "Cancel", "&Repair"}));
}

// Windows.

TEST_F(RepairToolTest, EachWindowIsClosedInTurn) {
  PlanTool({.windowsAtEnd = 3});
  Add(L"ann");
  const std::string output = Run(Arguments("-v"));
  EXPECT_EQ(Closes(),
            Strings({"Inbox Repair 2", "Inbox Repair 3", "Inbox Repair 4", "Inbox Repair Tool"}));
  // One round finds none.
  EXPECT_GE(CountLines(output, LookingForWindow()), 5);
  EXPECT_EQ(CountLines(output, SendingClose()), CountLines(output, LookingForWindow()));
  ExpectNothingLeft();
}

TEST_F(RepairToolTest, WindowsThatOpenWhileOthersAreClosedAreClosedToo) {
  PlanTool({.windowsOnClose = 2});
  const std::wstring file = Add(L"ann").Path();
  EXPECT_EQ(Scan(), Scanned(file, {kDone}));
  EXPECT_EQ(Closes(), Strings({"Inbox Repair 2", "Inbox Repair 3", "Inbox Repair Tool"}));
  ExpectNothingLeft();
}

TEST_F(RepairToolTest, AWindowThatDoesNotCloseIsToldAgain) {
  PlanTool({.ignoreClose = 1000});
  const std::wstring file = Add(L"ann").Path();
  EXPECT_EQ(Scan(), Scanned(file, {kDone}));
  EXPECT_GE(lab::RepairCloses(Journal()).size(), 2U);
  ExpectNothingLeft();
}

TEST_F(RepairToolTest, ARepairedStoresWindowsAreAllClosed) {
  PlanTool({.windowsAtEnd = 2});
  const std::wstring file = AddDamaged(L"ann", QsfDamage::kHeader);
  EXPECT_EQ(Scan(), Scanned(file, {kDone}));
  EXPECT_GE(Closes().size(), 3U);
  EXPECT_TRUE(IsSound(file));
  ExpectNothingLeft();
}

// What the automation costs.

using RepairSpeedTest = RepairToolTest;

TEST_F(RepairSpeedTest, AddsAtMostTwoPollsToTheToolsTime) {
  constexpr milliseconds kScan{2600};
  constexpr milliseconds kRepair{2600};
  PlanTool({.scanTime = static_cast<uint32_t>(kScan.count()),
            .repairTime = static_cast<uint32_t>(kRepair.count())});
  const std::wstring file = AddDamaged(L"ann", QsfDamage::kChecksum);
  EXPECT_EQ(Scan(), Scanned(file, {kDone}));
  ASSERT_EQ(Calls("SCANPST::Start").size(), 1U);
  ASSERT_EQ(Calls("SCANPST::Exit").size(), 1U);
  const milliseconds life(
      (Calls("SCANPST::Exit")[0].startMicros - Calls("SCANPST::Start")[0].startMicros) / 1000);
  RecordProperty("added_ms", static_cast<int>((life - kScan - kRepair).count()));
  EXPECT_LE((life - kScan - kRepair).count(), (2 * kPoll).count());
}

// Many stores in a row.

constexpr size_t kSoakStores = 20;

// An entry of the system's list of open handles, and the list.
struct HandleEntry {
  void* object;
  ULONG_PTR processId;
  ULONG_PTR handle;
  ULONG access;
  USHORT trace;
  USHORT type;
  ULONG attributes;
  ULONG reserved;
};
struct HandleList {
  ULONG_PTR count;
  ULONG_PTR reserved;
  HandleEntry entries[100000];
};

// A function of ntdll.dll.
template <typename Function>
Function NtFunction(const char* name) {
  const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(ntdll, name)));
}

std::wstring TypeOf(HANDLE process, const HandleEntry& entry) {
  constexpr ULONG kObjectType = 2;
  static const auto kQuery =
      NtFunction<LONG(WINAPI*)(HANDLE, ULONG, void*, ULONG, ULONG*)>("NtQueryObject");
  HANDLE copy = nullptr;
  if (!DuplicateHandle(process, reinterpret_cast<HANDLE>(entry.handle), GetCurrentProcess(), &copy,
                       0, FALSE, DUPLICATE_SAME_ACCESS)) {
    return L"?";
  }
  const platform::KernelHandle owner(copy);
  struct {
    USHORT length;
    USHORT size;
    const wchar_t* text;
    wchar_t rest[512];
  } type = {};
  if (kQuery(copy, kObjectType, &type, sizeof(type), nullptr) != 0) return L"?";
  return {type.text, type.length / sizeof(wchar_t)};
}

// How many handles of each type a process has open.
std::map<std::wstring, int> HandlesOf(DWORD processId) {
  constexpr ULONG kExtendedHandles = 64;
  static const auto kQuery =
      NtFunction<LONG(WINAPI*)(ULONG, void*, ULONG, ULONG*)>("NtQuerySystemInformation");
  std::map<std::wstring, int> handles;
  const auto list = std::make_unique<HandleList>();
  const platform::KernelHandle process(OpenProcess(PROCESS_DUP_HANDLE, FALSE, processId));
  if (kQuery(kExtendedHandles, list.get(), sizeof(HandleList), nullptr) != 0) return handles;
  for (size_t at = 0; at < list->count; ++at) {
    const HandleEntry& entry = list->entries[at];
    if (entry.processId == processId) ++handles[TypeOf(process.Get(), entry)];
  }
  return handles;
}

// Shards of a long run, so that they can run side by side.
class RepairSoakTest : public RepairToolTest, public ::testing::WithParamInterface<int> {
 protected:
  // Waits until the tool scans the file of that number, from 1. The program then waits for it.
  void WaitForScan(const RunningProgram& program, size_t number) const {
    while (Calls("SCANPST::Scan").size() < number && program.IsRunning()) Sleep(100);
  }
};

TEST_P(RepairSoakTest, StoresInARowLeaveNoProcessWindowOrHandle) {
  std::vector<std::wstring> files;
  for (size_t number = 0; number < kSoakStores; ++number) {
    files.push_back(AddDamaged(L"store" + std::to_wstring(number), QsfDamage::kChecksum));
  }
  RunningProgram program = StartAdmin(Arguments(), {.timeout = std::chrono::seconds(110)});
  WaitForScan(program, 2);
  auto early = HandlesOf(program.ProcessId());
  WaitForScan(program, kSoakStores);
  auto late = HandlesOf(program.ProcessId());
  const RunResult result = program.Wait();
  // Wine 8 itself keeps an event of each WaitForInputIdle.
  EXPECT_LE(late[L"Event"], early[L"Event"] + static_cast<int>(kSoakStores));
  early.erase(L"Event");
  late.erase(L"Event");
  EXPECT_GT(early[L"File"], 0);
  EXPECT_EQ(early, late);
  EXPECT_EQ(result.exitCode, 0U);
  EXPECT_EQ(CountLines(result.output, kDone), static_cast<int>(kSoakStores));
  EXPECT_EQ(Lines(result.output).size(), 2 * kSoakStores);
  for (const std::wstring& file : files) EXPECT_TRUE(IsSound(file)) << Utf8FromWide(file);
  EXPECT_EQ(Calls("SCANPST::Exit").size(), kSoakStores);
  ExpectNothingLeft();
}

INSTANTIATE_TEST_SUITE_P(Shards, RepairSoakTest, ::testing::Range(0, 5));

}  // namespace
}  // namespace e2e
