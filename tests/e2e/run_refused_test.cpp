// Unattended runs that do not come about, for a reason of the tool's.
#include "tests/e2e/command_lab_test.h"
#include "tests/e2e/run_frame.h"
#include "tests/e2e/support/mapi_holder.h"
#include "tests/e2e/usage_text.h"

namespace e2e {
namespace {

constexpr uint32_t kFail = 0x80004005;

class RunRefusedTest : public RunTest {};

// Help screens.

struct HelpCase : NamedCase {
  const wchar_t* word;
  std::string usage;
};

class RunHelpTest : public RunRefusedTest, public ::testing::WithParamInterface<HelpCase> {};

TEST_P(RunHelpTest, TheCommandsHelpScreenIsNoRun) {
  ExpectRun({L"--", L"-h", GetParam().word}, Lines(GetParam().usage), HelpScreen());
  EXPECT_FALSE(ToolWasStarted());
}

TEST_P(RunHelpTest, ASwitchThatIsMissingIsNoRun) {
  const std::wstring_view word = GetParam().word;
  if (word == L"-purgeQsf" || word == L"-listServers") {
    // Nothing can be missing. Both take "-h" behind the word too.
    ExpectRun({GetParam().word, L"-h"}, Lines(GetParam().usage), HelpScreen());
    return;
  }
  const std::string above = word == L"-scanQsf" ? SwitchError() : "";
  ExpectRun({GetParam().word}, Lines(above + GetParam().usage), HelpScreen());
}

INSTANTIATE_TEST_SUITE_P(
    Commands, RunHelpTest,
    ::testing::Values(HelpCase{"CheckQsf", L"-checkQsf", CheckQsfUsage()},
                      HelpCase{"ScanQsf", L"-scanQsf", ScanQsfUsage()},
                      HelpCase{"CompactQsf", L"-compactQsf", CompactQsfUsage()},
                      HelpCase{"PurgeQsf", L"-purgeQsf", PurgeQsfUsage()},
                      HelpCase{"ListAgents", L"-listAgents", ListAgentsUsage()},
                      HelpCase{"AssignAgents", L"-assignAgents", AssignAgentsUsage()},
                      HelpCase{"ListServers", L"-listServers", ListServersUsage()},
                      HelpCase{"FindUsers", L"-findUsers", FindUsersUsage()}),
    kByName);

TEST_F(RunRefusedTest, AVerboseHelpScreenIsNoRun) {
  ExpectRun("-compactQsf -v", Lines(CompactQsfUsage()) + Strings{"Exiting."}, HelpScreen());
}

TEST_F(RunRefusedTest, NoCommandOfTheToolsIsNoRun) {
  ExpectRun("nonsense", Lines(GeneralUsage()), HelpScreen());
}

// MAPI.

class RunExclusiveTest : public RunRefusedTest, public ::testing::WithParamInterface<LineCase> {};

TEST_P(RunExclusiveTest, MapiInUseIsNoRunAndTheNamesBelongToIt) {
  SetController(lab::ControllerState::kStopped);
  const MapiHolder one(L"outlook.exe");
  const MapiHolder other(L"qsfscan.exe");
  for (const Words& words : {GetParam().words, GetParam().words + "-v"}) {
    const RunResult result = RunAdmin(words);
    Strings expected = {"MAPI is in use. Please close the following applications and try again:",
                        "outlook.exe", "qsfscan.exe"};
    if (words.back() == L"-v") expected.emplace_back("Exiting.");
    expected.emplace_back("qrvrun: exit code 1, not run: MAPI is in use");
    EXPECT_EQ(SortedLines(result.output), Sorted(expected));
    EXPECT_EQ(Lines(result.output).back(), expected.back());
    EXPECT_EQ(result.exitCode, 1U);
  }
  EXPECT_FALSE(ToolWasStarted());
}

INSTANTIATE_TEST_SUITE_P(Commands, RunExclusiveTest, ::testing::ValuesIn(ExclusiveCommands()),
                         kByName);

class RunWithoutMapiTest : public RunRefusedTest, public ::testing::WithParamInterface<LineCase> {};

TEST_P(RunWithoutMapiTest, IsNoRun) {
  Faults().FailEach("MAPIInitialize", kFail);
  const RunEnding ending = NotRun("not run: MAPI cannot be initialized");
  ExpectRun(GetParam().words, {kNoMapi}, ending);
  ExpectRun(GetParam().words + "-v", {kNoMapi, "Exiting."}, ending);
}

INSTANTIATE_TEST_SUITE_P(Exclusive, RunWithoutMapiTest, ::testing::ValuesIn(ExclusiveCommands()),
                         kByName);
INSTANTIATE_TEST_SUITE_P(Other, RunWithoutMapiTest,
                         ::testing::Values(LineCase{"FindUsers", "-findUsers -p Main -e ann"}),
                         kByName);

// What does not ask for MAPI, or runs beside others, is not kept by it.
TEST_F(RunRefusedTest, CommandsThatRunBesideOthersAreGood) {
  Add(L"ann");
  const MapiHolder holder(L"outlook.exe");
  for (const Words& words : {Words("-findUsers -p Main -e nobody"), Words("-listServers"),
                             Words{L"-listAgents", L"-s", ComputerName()}}) {
    EXPECT_EQ(RunAdmin(words).exitCode, 0U);
  }
}

}  // namespace
}  // namespace e2e
