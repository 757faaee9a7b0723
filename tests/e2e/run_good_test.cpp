// Unattended runs that are good: of each command, with and without its switches.
#include "tests/e2e/purge_listing.h"
#include "tests/e2e/run_frame.h"

namespace e2e {
namespace {

constexpr char kAlreadyRunning[] = "ServiceStartSvc. Service is already running, currentState=4)";

class RunGoodTest : public RunTest, public ::testing::WithParamInterface<RunCase> {};

TEST_P(RunGoodTest, EndsWithZero) {
  GetParam().prepare(*this);
  ExpectRun(GetParam().words, GetParam().toolLines, GetParam().ending);
}

void AddAnnAndStoppedController(RunTest& test) {
  AddAnn(test);
  test.SetController(lab::ControllerState::kStopped);
}

void AddAnnAndRunningController(RunTest& test) {
  AddAnn(test);
  test.SetController(lab::ControllerState::kRunning);
}

Strings Checked(const Strings& end) {
  return Strings{"CheckQsf: Checking 1 MAPI stores...", "Checking store for 'ann@example.com'",
                 "All stores are OK", "Shutting down stores..."} +
         end;
}

Strings Assigned() {
  return {"Base Agentid=200", "Number of Agents=2", "Assigned 1 of 1 users ...", "Done"};
}

Strings Found() {
  return {"Email: ann@example.com", "Type: QSF store", "QSF: ann.qsf", "Embedded stores: none",
          " "};
}

// Each run of this command takes the ten seconds of its pause.
INSTANTIATE_TEST_SUITE_P(
    Check, RunGoodTest,
    ::testing::Values(
        RunCase{"Plain", "-checkQsf -p Main -e ann", AddAnn, Checked({"Done"}), Good()},
        RunCase{"Verbose", "-checkQsf -p Main -e ann -v", AddAnn,
                Strings{kHandlerInstalled} + Checked({"Done", "Exiting."}), Good()},
        RunCase{"StartsTheController", "-checkQsf -p Main -e ann -c", AddAnnAndStoppedController,
                Checked({kStartingController, "Done"}), Good()},
        RunCase{"FindsTheControllerRunning", "-checkQsf -p Main -e ann -c",
                AddAnnAndRunningController, Checked({kAlreadyRunning, kStartingController, "Done"}),
                Good()}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    Compact, RunGoodTest,
    ::testing::Values(
        RunCase{"Plain",
                "-compactQsf -p Main -e ann",
                AddAnn,
                {"compacting ann@example.com", "Compacting done"},
                Good()},
        RunCase{"Verbose",
                "-compactQsf -p Main -e ann -v",
                AddAnn,
                {kHandlerInstalled, kHandlerInstalled, "compacting ann@example.com",
                 "Compacting done", "Exiting."},
                Good()},
        RunCase{"NothingToCompact", "-compactQsf -p Main -e nobody", AddAnn, {}, Good()},
        RunCase{"StartsTheController",
                "-compactQsf -p Main -e ann -c",
                AddAnnAndStoppedController,
                {"compacting ann@example.com", "Compacting done", kStartingController},
                Good()},
        RunCase{"FindsTheControllerRunning",
                "-compactQsf -p Main -e nobody -c",
                AddAnnAndRunningController,
                {kAlreadyRunning, kStartingController},
                Good()}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    ListAgents, RunGoodTest,
    ::testing::Values(RunCase{"Plain",
                              Words{L"-listAgents", L"-s", ComputerName()},
                              AddAnn,
                              {"AgentId: 200", "Users: 1", " "},
                              Good()},
                      RunCase{"Verbose",
                              Words{L"-listAgents", L"-s", ComputerName(), L"-v"},
                              AddAnn,
                              {kConnectionLine, "AgentId: 200", "Users: 1", " ", "Exiting."},
                              Good()}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    ListServers, RunGoodTest,
    ::testing::Values(RunCase{"Plain",
                              "-listServers",
                              AddAnn,
                              {"Id: 7", "MachineName: " + Utf8FromWide(ComputerName()), " "},
                              Good()},
                      RunCase{"WithUsers",
                              "-listServers -c -v",
                              AddAnn,
                              {"Id: 7", "Users: 1", "MachineName: " + Utf8FromWide(ComputerName()),
                               " "},
                              Good()}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    Assign, RunGoodTest,
    ::testing::Values(
        RunCase{"Plain", "-assignAgents -p Main", AddAnn, Assigned(), Good()},
        RunCase{"Verbose",
                "-assignAgents -p Main -v",
                AddAnn,
                {kHandlerInstalled, "Base Agentid=200", "Number of Agents=2", kConnectionLine,
                 "Assigned 1 of 1 users ...", "Done", "Exiting."},
                Good()},
        RunCase{"NobodyToAssign",
                "-assignAgents -p Main",
                [](RunTest& test) { test.AddRoot(); },
                {"Base Agentid=200", "Number of Agents=2", "Done"},
                Good()},
        RunCase{"CreatesAStore",
                "-assignAgents -p Main",
                [](RunTest& test) {
                  AddAnn(test);
                  test.AddUser(L"henry");
                },
                {"Base Agentid=200", "Number of Agents=2",
                 "AssignUsersToAgents: Creating 1 MAPI stores...",
                 "Creating store for 'henry@example.com'", "Assigned 2 of 2 users ...", "Done"},
                Good()},
        RunCase{"StartsTheController", "-assignAgents -p Main -c", AddAnnAndStoppedController,
                Assigned() + Strings{kStartingController}, Good()},
        RunCase{"FindsTheControllerRunning", "-assignAgents -p Main -c", AddAnnAndRunningController,
                Assigned() + Strings{kAlreadyRunning, kStartingController}, Good()}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    FindUsers, RunGoodTest,
    ::testing::Values(RunCase{"Plain", "-findUsers -p Main -e ann", AddAnn, Found(), Good()},
                      RunCase{"Verbose", "-findUsers -p Main -e ann -v", AddAnn,
                              Strings{kHandlerInstalled} + Found() + Strings{"Exiting."}, Good()},
                      RunCase{"Nobody", "-findUsers -p Main -e nobody", AddAnn, {}, Good()},
                      RunCase{"AnEmbeddedStore",
                              "-findUsers -p Main -e bob",
                              [](RunTest& test) { test.AddEmbedded(L"bob", test.Add(L"ann")); },
                              {"Email: bob@example.com", "Type: Embedded store",
                               "Parent store: ann@example.com", "Parent QSF: ann.qsf", " "},
                              Good()}),
    kByName);

// Commands whose lines have paths of the test's own.

class RunScanTest : public RunTest {
 protected:
  std::string Scanning() const { return "scanning " + Utf8FromWide(FileOf(L"ann")); }
};

TEST_F(RunScanTest, ASoundStoreIsGood) {
  Add(L"ann");
  ExpectRun("-scanQsf -p Main", {Scanning(), "file scan done."}, Good());
}

TEST_F(RunScanTest, ARepairedStoreIsGood) {
  AddDamaged(L"ann", lab::QsfDamage::kChecksum);
  ExpectRun("-scanQsf -p Main", {Scanning(), "file scan done."}, Good());
  EXPECT_TRUE(IsSound(FileOf(L"ann")));
}

// The steps of a scan and of a repair, and the question of the repair tool whether to replace the
// backup, are no trouble.
TEST_F(RunScanTest, AVerboseRepairIsGood) {
  AddDamaged(L"ann", lab::QsfDamage::kChecksum);
  PlanTool({.backupQuestion = lab::BackupQuestion::kAlways});
  const RunResult result = RunAdmin("-scanQsf -p Main -v");
  const Strings lines = Lines(result.output);
  EXPECT_EQ(lines.back(), Good().lines[0]);
  EXPECT_EQ(lines.end()[-2], "Exiting.");
  EXPECT_EQ(CountLines(result.output, "file scan done."), 1);
  EXPECT_EQ(CountLines(result.output,
                       "CheckRepairQsf. found YES button. this is the replace backup file dialog. "
                       "clicking YES"),
            1);
  EXPECT_EQ(result.exitCode, 0U);
}

TEST_F(RunScanTest, AVerboseScanOfASoundStoreIsGood) {
  Add(L"ann");
  const RunResult result = RunAdmin("-scanQsf -p Main -v");
  EXPECT_EQ(Lines(result.output).back(), Good().lines[0]);
  EXPECT_EQ(ToolLines(result.output).size(), Lines(result.output).size() - 1);
  EXPECT_EQ(CountLines(result.output, "%In hs."), 1);
  EXPECT_EQ(result.exitCode, 0U);
}

TEST_F(RunScanTest, NoStoreThatIsMarkedIsGood) {
  Add(L"ann");
  ExpectRun("-scanQsf -p Main -m",
            {"No .qsf files have been marked as corrupt with [Main] profile"}, Good());
}

TEST_F(RunScanTest, TheControllerIsStarted) {
  Add(L"ann");
  SetController(lab::ControllerState::kStopped);
  ExpectRun("-scanQsf -p Main -c", {Scanning(), "file scan done.", kStartingController}, Good());
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
}

TEST_F(RunScanTest, AControllerThatRunsIsGood) {
  Add(L"ann");
  SetController(lab::ControllerState::kRunning);
  ExpectRun("-scanQsf -p Main -c",
            {Scanning(), "file scan done.", kAlreadyRunning, kStartingController}, Good());
}

class RunPurgeTest : public RunTest {
 protected:
  static constexpr lab::UtcTime kLongAgo = {2001, 2, 3, 4, 5, 6};

  // The profile's stores, and a file that none of them is; what is listed of it.
  Strings AddUnused() {
    Add(L"ann");
    const std::wstring file = StorePath(L"old.qsf");
    EXPECT_TRUE(lab::WriteFileOfSize(file, 2048));
    EXPECT_TRUE(lab::SetLastAccess(file, kLongAgo));
    return Lines(Block({"old.qsf",
                        2,
                        LocalTimeText(kLongAgo),
                        {lab::FoldAscii(Utf8FromWide(Directory().wstring())) + "\\old.qsf"}}));
  }
};

TEST_F(RunPurgeTest, AListingIsGood) {
  const Strings listed = AddUnused();
  ExpectRun("-purgeQsf", listed, Good());
  EXPECT_TRUE(Exists(StorePath(L"old.qsf")));
}

TEST_F(RunPurgeTest, AVerboseDeletionIsGood) {
  const Strings listed = AddUnused();
  ExpectRun("-purgeQsf -f -v", Strings{kHandlerInstalled} + listed + Strings{"Exiting."}, Good());
  EXPECT_FALSE(Exists(StorePath(L"old.qsf")));
}

TEST_F(RunPurgeTest, NothingUnusedIsGood) {
  Add(L"ann");
  ExpectRun("-purgeQsf", {kNothingUnused}, Good());
}

TEST_F(RunPurgeTest, TheControllerIsStarted) {
  Add(L"ann");
  SetController(lab::ControllerState::kStopped);
  ExpectRun("-purgeQsf -f -c", {kNothingUnused, kStartingController}, Good());
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
}

TEST_F(RunPurgeTest, AControllerThatRunsIsGood) {
  Add(L"ann");
  SetController(lab::ControllerState::kRunning);
  ExpectRun("-purgeQsf -f -c", {kNothingUnused, kAlreadyRunning, kStartingController}, Good());
}

}  // namespace
}  // namespace e2e
