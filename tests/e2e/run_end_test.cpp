// Unattended runs that are stopped: by Ctrl+C, and when their time is over.
#include "tests/e2e/run_frame.h"

namespace e2e {
namespace {

// How long a call takes during which the time ends, which leaves a busy machine some to get there.
constexpr uint32_t kSlow = 12000;
constexpr char kShort[] = "-timeout 0.1";

RunEnding TimeRanOut() { return {3, {"qrvrun: exit code 3, time ran out"}}; }
RunEnding CtrlC() { return {4, {"qrvrun: exit code 4, Ctrl+C"}}; }

// A command that is slow at a call, and what the tool says until then and after it was stopped.
struct StopCase : NamedCase {
  Words words;
  // Stores that stand in the profile, and whose users the server has.
  int stores;
  // Users without a store.
  int users;
  const char* call;
  // Which of these calls; 0: each.
  uint32_t nth;
  Strings before;
  Strings after;
  // What is trouble among these.
  Strings trouble;
};

class RunStopTest : public RunTest, public ::testing::WithParamInterface<StopCase> {
 protected:
  void SetUp() override {
    RunTest::SetUp();
    AddRoot();
    const StopCase& stop = GetParam();
    for (int n = 1; n <= stop.stores; ++n) AddWithUser(L"user" + std::to_wstring(n));
    for (int n = 1; n <= stop.users; ++n) AddUser(L"new" + std::to_wstring(n));
    if (std::string_view(stop.call) == "compaction") {
      PlanCompaction(lab::CompactionPlan().Takes(L"*", kSlow));
    } else if (stop.nth == 0) {
      Faults().DelayEach(stop.call, kSlow);
    } else {
      Faults().DelayNth(stop.call, stop.nth, kSlow);
    }
    // A program that Windows ends gives nothing back.
    AllowLeaks();
  }

  // The lines of the tool's, by its own order but for those of several threads.
  void ExpectStopped(const RunResult& result, RunEnding ending) const {
    const StopCase& stop = GetParam();
    if (!stop.trouble.empty()) ending.lines = TroubleAbove(ending.lines);
    const Strings expected = stop.before + stop.after + ending.lines;
    EXPECT_EQ(result.output, Text(expected));
    EXPECT_EQ(result.exitCode, ending.code);
    EXPECT_EQ(result.errorOutput, "");
  }

 private:
  static Strings TroubleAbove(const Strings& last) {
    Strings lines = Trouble(GetParam().trouble).lines;
    lines.pop_back();
    return lines + last;
  }
};

TEST_P(RunStopTest, TheTimeStopsIt) {
  ExpectStopped(RunAdmin(kShort + GetParam().words), TimeRanOut());
}

TEST_P(RunStopTest, CtrlCStopsIt) {
  RunningProgram program = StartAdmin(GetParam().words);
  if (GetParam().before.empty()) {
    for (int i = 0; i < 200 && !ToolWasStarted(); ++i) Sleep(50);
  } else {
    ASSERT_TRUE(program.WaitForOutput(GetParam().before.back() + "\r\n"));
  }
  Sleep(300);
  ASSERT_TRUE(program.SendCtrlC());
  ExpectStopped(program.Wait(), CtrlC());
}

const std::string kServer = Utf8FromWide(ComputerName());

const Strings kCheckBroken = {"CheckQsf: LogonToStores failed : 0x80040113"};
const Strings kAssignBroken = {"AssignUsersToAgents: LogonToStores failed : 0x80040113"};

// These end at it, the list commands at once.
INSTANTIATE_TEST_SUITE_P(
    Ends, RunStopTest,
    ::testing::Values(
        StopCase{"CheckQsf",
                 "-checkQsf -p Main -e user1 -v",
                 1,
                 0,
                 "HrQueryAllRows@MsgServiceTable",
                 1,
                 {kHandlerInstalled},
                 Strings{kUserBreak, "CheckQsf: Checking 1 MAPI stores..."} + kCheckBroken +
                     Strings{"Done", "Exiting."},
                 kCheckBroken},
        StopCase{"CompactQsf",
                 "-compactQsf -p Main -e user",
                 2,
                 0,
                 "compaction",
                 0,
                 {"compacting user1@example.com"},
                 {kUserBreak, "Compacting done"},
                 {}},
        StopCase{"AssignAgents",
                 "-assignAgents -p Main",
                 0,
                 7,
                 "IExchangeManageStore::CreateStoreEntryID",
                 0,
                 {"Base Agentid=200", "Number of Agents=2",
                  "AssignUsersToAgents: Creating 7 MAPI stores...",
                  "Creating store for 'new1@example.com'", "Creating store for 'new2@example.com'",
                  "Creating store for 'new3@example.com'", "Creating store for 'new4@example.com'",
                  "Creating store for 'new5@example.com'"},
                 Strings{kUserBreak} + kAssignBroken,
                 kAssignBroken},
        StopCase{"ListAgents",
                 Words{L"-listAgents", L"-s", ComputerName()},
                 1,
                 0,
                 "ICommand::Execute",
                 1,
                 {},
                 {},
                 {}},
        StopCase{"ListServers", "-listServers", 0, 0, "ICommand::Execute", 1, {}, {}, {}}),
    kByName);

// These go on to their end all the same.
INSTANTIATE_TEST_SUITE_P(
    GoesOn, RunStopTest,
    ::testing::Values(StopCase{"PurgeQsf",
                               "-purgeQsf -v",
                               1,
                               0,
                               "HrQueryAllRows@MsgServiceTable",
                               1,
                               {kHandlerInstalled},
                               {kUserBreak, "No unused QSFs found", "Exiting."},
                               {}},
                      StopCase{"FindUsers",
                               "-findUsers -p Main -v -e user",
                               1,
                               0,
                               "HrQueryAllRows@MsgServiceTable",
                               1,
                               {kHandlerInstalled},
                               {kUserBreak, "Email: user1@example.com", "Type: QSF store",
                                "QSF: user1.qsf", "Embedded stores: none", " ", "Exiting."},
                               {}},
                      StopCase{
                          "FindUsersWithTrouble",
                          "-findUsers -p Nobody -v -e user",
                          0,
                          0,
                          "IProfAdmin::AdminServices",
                          1,
                          {kHandlerInstalled},
                          Strings{kUserBreak} + Lines(NoProfile("FindUsers")) + Strings{"Exiting."},
                          Lines(NoProfile("FindUsers"))}),
    kByName);

// The list commands are ended by Windows; in the time that the call takes they would have gone on.
TEST_F(RunTest, AListCommandIsEndedAtOnce) {
  Faults().DelayNth("ICommand::Execute", 1, 30000);
  AllowLeaks();
  const RunResult result = RunAdmin("-timeout 0.05 -listServers");
  Expect(result, {}, TimeRanOut());
  EXPECT_LT(result.elapsed, std::chrono::seconds(25));
}

// Scans.

class RunScanStopTest : public RunTest {
 protected:
  void SetUp() override {
    RunTest::SetUp();
    Add(L"ann");
    AllowLeaks();
  }
  std::string Scanning() const { return "scanning " + Utf8FromWide(FileOf(L"ann")); }
  bool WaitForTool(const char* call) const {
    for (int i = 0; i < 300 && Calls(call).empty(); ++i) Sleep(50);
    return !Calls(call).empty();
  }
};

TEST_F(RunScanStopTest, AtCtrlCTheScanIsCancelled) {
  PlanTool({.scanTime = 30000, .cancelQuestion = false, .afterCancel = lab::AfterCancel::kSound});
  RunningProgram program = StartAdmin("-scanQsf -p Main");
  ASSERT_TRUE(WaitForTool("SCANPST::Scan"));
  ASSERT_TRUE(program.SendCtrlC());
  Expect(program.Wait(), {Scanning(), kUserBreak, "file scan done."}, CtrlC());
  EXPECT_EQ(Calls("SCANPST::Cancel").size(), 1U);
  EXPECT_TRUE(WaitForNoTools());
}

TEST_F(RunScanStopTest, WhenTheTimeIsOverTheScanIsCancelled) {
  PlanTool({.scanTime = 60000, .cancelQuestion = false, .afterCancel = lab::AfterCancel::kSound});
  ExpectRun("-timeout 0.15 -scanQsf -p Main", {Scanning(), kUserBreak, "file scan done."},
            TimeRanOut());
  EXPECT_EQ(Calls("SCANPST::Cancel").size(), 1U);
  EXPECT_TRUE(WaitForNoTools());
}

// Nothing that Ctrl+C could reach ends these two: they are ended half a minute later.
class RunForEverTest : public RunScanStopTest {
 protected:
  static inline const RunOptions kPatient = {.timeout = std::chrono::seconds(100)};

  static RunEnding Killed() {
    return {3, {"qrvrun: exit code 3, time ran out, and qrvadmin was ended"}};
  }
  static void ExpectHalfAMinute(const RunResult& result) {
    EXPECT_GE(result.elapsed, std::chrono::seconds(36));
    EXPECT_LT(result.elapsed, std::chrono::seconds(70));
  }
};

TEST_F(RunForEverTest, ARepairToolThatStandsIsEndedWithTheTool) {
  PlanTool({.startButton = false});
  const RunResult result =
      ExpectRun("-timeout 0.1 -scanQsf -p Main", {Scanning(), kUserBreak}, Killed(), kPatient);
  ExpectHalfAMinute(result);
  EXPECT_EQ(Calls("SCANPST::Start").size(), 1U);
  EXPECT_TRUE(ProcessesOf(L"qrvadmin.exe").empty());
  EXPECT_TRUE(ProcessesOf(L"SCANPST.EXE").empty());
}

TEST_F(RunForEverTest, ACompactionBehindTwoDialogsIsEnded) {
  constexpr uint32_t kForEver = 120000;
  PlanCompaction(lab::CompactionPlan()
                     .Takes(L"*", kForEver)
                     .Title(L"*", L"Settings")
                     .IgnoresClose(L"*", kForEver)
                     .Dialog(L"*", {.time = lab::DialogTime::kDuring,
                                    .title = L"Beside",
                                    .ignoresCloseFor = kForEver}));
  const RunResult result =
      ExpectRun("-timeout 0.1 -compactQsf -p Main", {"compacting ann@example.com", kUserBreak},
                Killed(), kPatient);
  ExpectHalfAMinute(result);
  EXPECT_TRUE(ProcessesOf(L"qrvadmin.exe").empty());
}

}  // namespace
}  // namespace e2e
