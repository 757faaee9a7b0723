// Unattended runs that are stopped: by Ctrl+C, and when their time is over.
#include "tests/e2e/run_frame.h"

namespace e2e {
namespace {

// How long a call takes during which the time ends.
constexpr uint32_t kSlow = 4000;
constexpr char kShort[] = "-timeout 0.015";

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
    } else if (std::string_view(stop.call) == "scan") {
      PlanTool({.scanTime = kSlow});
    } else {
      Faults().DelayEach(stop.call, kSlow);
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

// These end at it, the list commands at once.
INSTANTIATE_TEST_SUITE_P(
    Ends, RunStopTest,
    ::testing::Values(
        StopCase{"CheckQsf",
                 "-checkQsf -p Main -e user1",
                 1,
                 0,
                 "IMAPISession::OpenMsgStore",
                 {"CheckQsf: Checking 1 MAPI stores...", "Checking store for 'user1@example.com'"},
                 {kUserBreak, "All stores are OK", "Shutting down stores...", "Done"},
                 {}},
        StopCase{"CompactQsf",
                 "-compactQsf -p Main -e user",
                 2,
                 0,
                 "compaction",
                 {"compacting user1@example.com"},
                 {kUserBreak, "Compacting done"},
                 {}},
        StopCase{"AssignAgents",
                 "-assignAgents -p Main",
                 0,
                 1,
                 "IExchangeManageStore::CreateStoreEntryID",
                 {"Base Agentid=200", "Number of Agents=2",
                  "AssignUsersToAgents: Creating 1 MAPI stores...",
                  "Creating store for 'new1@example.com'"},
                 {kUserBreak, "Assigned 1 of 1 users ...", "Done"},
                 {}},
        StopCase{"ListAgents",
                 Words{L"-listAgents", L"-s", ComputerName()},
                 1,
                 0,
                 "ICommand::Execute",
                 {},
                 {},
                 {}},
        StopCase{"ListServers", "-listServers", 0, 0, "ICommand::Execute", {}, {}, {}}),
    kByName);

// These go on to their end all the same.
INSTANTIATE_TEST_SUITE_P(
    GoesOn, RunStopTest,
    ::testing::Values(StopCase{"PurgeQsf",
                               "-purgeQsf -v",
                               1,
                               0,
                               "HrQueryAllRows@MsgServiceTable",
                               {kHandlerInstalled},
                               {kUserBreak, "No unused QSFs found", "Exiting."},
                               {}},
                      StopCase{"FindUsers",
                               "-findUsers -p Main -v -e user",
                               1,
                               0,
                               "HrQueryAllRows@MsgServiceTable",
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
                          {kHandlerInstalled},
                          Strings{kUserBreak} + Lines(NoProfile("FindUsers")) + Strings{"Exiting."},
                          Lines(NoProfile("FindUsers"))}),
    kByName);

}  // namespace
}  // namespace e2e
