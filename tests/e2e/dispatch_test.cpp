// From the command line to one command: what counts as a command word, which of several runs, and
// what Ctrl+C does to it.
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "lab/common/installation.h"
#include "tests/e2e/command_lab_test.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/usage_text.h"

namespace e2e {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

using DispatchTest = CommandLabTest;

// Command words.

struct WordCase {
  std::wstring word;
  std::string screen;
};

std::ostream& operator<<(std::ostream& stream, const WordCase& value) {
  return stream << Utf8FromWide(value.word);
}

class AnyCaseTest : public DispatchTest, public ::testing::WithParamInterface<WordCase> {};

TEST_P(AnyCaseTest, IsTheCommand) { EXPECT_EQ(Run({L"-h", GetParam().word}), GetParam().screen); }

INSTANTIATE_TEST_SUITE_P(Words, AnyCaseTest,
                         ::testing::Values(WordCase{L"-CHECKQSF", CheckQsfUsage()},
                                           WordCase{L"-scanqsf", ScanQsfUsage()},
                                           WordCase{L"-CompactQSF", CompactQsfUsage()},
                                           WordCase{L"-pURGEqSF", PurgeQsfUsage()},
                                           WordCase{L"-LISTAGENTS", ListAgentsUsage()},
                                           WordCase{L"-assignagents", AssignAgentsUsage()},
                                           WordCase{L"-ListServers", ListServersUsage()},
                                           WordCase{L"-FINDusers", FindUsersUsage()}),
                         [](const auto& test) { return Utf8FromWide(test.param.word).substr(1); });

TEST_F(DispatchTest, ListServersInCapitalsRuns) { EXPECT_EQ(Run("-LISTSERVERS"), NoDatabase()); }

class NoCommandTest : public DispatchTest, public ::testing::WithParamInterface<LineCase> {};

TEST_P(NoCommandTest, ShowsTheGeneralScreen) {
  EXPECT_EQ(Run(GetParam().words), GeneralUsage());
  EXPECT_FALSE(MapiWasTouched());
}

INSTANTIATE_TEST_SUITE_P(
    Lines, NoCommandTest,
    ::testing::Values(
        LineCase{"Nonsense", "nonsense"}, LineCase{"Empty", "\"\""},
        LineCase{"Blanks", {L"", L" ", L"-"}}, LineCase{"NoDash", "checkQsf"},
        LineCase{"TwoDashes", "--checkQsf"}, LineCase{"Slash", "/checkQsf"},
        LineCase{"LetterMissing", "-checkQs"}, LineCase{"LetterTooMany", "-checkQsfs"},
        LineCase{"BlankBefore", {L" -checkQsf"}}, LineCase{"BlankBehind", {L"-findUsers "}},
        LineCase{"TwoArguments", "-check Qsf"}, LineCase{"LineEndInside", {L"-find\nUsers"}},
        // Letters that only look like, or fold to, those of a word.
        LineCase{"KelvinSign", "-chec\u212aQsf"}, LineCase{"LongS", "-find\u017fers"},
        LineCase{"DottedI", "-L\u0130STSERVERS"},
        // Nothing reads "-v" here.
        LineCase{"OnlyVerbose", "-v"}, LineCase{"OnlySwitches", "-p Main -e ann -c -v"},
        LineCase{"LongArgument", {std::wstring(5000, L'-')}},
        LineCase{"ManyArguments", Words(500, L"-nothing")}),
    kByName);

// The help switch.

class NoHelpTest : public DispatchTest, public ::testing::WithParamInterface<LineCase> {};

TEST_P(NoHelpTest, IsPassedOver) {
  EXPECT_EQ(Run("-listServers" + GetParam().words), NoDatabase());
  EXPECT_EQ(Run(GetParam().words + "-listServers"), NoDatabase());
}

INSTANTIATE_TEST_SUITE_P(Switches, NoHelpTest,
                         ::testing::Values(LineCase{"UpperCase", "-H"}, LineCase{"Word", "-help"},
                                           LineCase{"TwoDashes", "--h"}, LineCase{"Slash", "/h"},
                                           LineCase{"NoDash", "h"},
                                           LineCase{"BlankBehind", {L"-h "}},
                                           LineCase{"WithAnother", "-hc"}),
                         kByName);

TEST_F(DispatchTest, HelpIsSeenAlsoWhereItIsAValue) {
  EXPECT_EQ(Run("-checkQsf -p -h"), CheckQsfUsage());
  EXPECT_EQ(Run("-listAgents -s -h"), ListAgentsUsage());
  EXPECT_EQ(Run("-findUsers -p Main -e ann -h"), FindUsersUsage());
  EXPECT_EQ(Run("-p -h"), GeneralUsage());
}

// Priority.

TEST_F(DispatchTest, OfTwoCommandsTheFirstOfTheTableIsTaken) {
  const std::vector<CommandWord>& words = CommandWords();
  for (size_t first = 0; first < words.size(); ++first) {
    for (size_t second = first + 1; second < words.size(); ++second) {
      SCOPED_TRACE(Utf8FromWide(words[first].word) + std::string(" ") +
                   Utf8FromWide(words[second].word));
      EXPECT_EQ(Run({words[second].word, L"-h", words[first].word}),
                words[first].usage("qrvadmin"));
    }
  }
}

TEST_F(DispatchTest, TheOrderOnTheLineIsOfNoMatter) {
  EXPECT_EQ(Run("-listServers -checkQsf"), CheckQsfUsage());
  EXPECT_EQ(Run("-checkQsf -listServers"), CheckQsfUsage());
  EXPECT_EQ(Run("-findUsers -listServers"), NoDatabase());
  EXPECT_EQ(Run("-listServers -findUsers"), NoDatabase());
}

TEST_F(DispatchTest, AgentCommandsComeBeforeTheServers) {
  EXPECT_EQ(Run("-listServers -listAgents"), ListAgentsUsage());
  EXPECT_EQ(Run("-listServers -assignAgents"), AssignAgentsUsage());
  EXPECT_EQ(Run("-assignAgents -listAgents"), ListAgentsUsage());
}

TEST_F(DispatchTest, OnlyOneOfSeveralCommandsRuns) {
  Add(L"ann");
  EXPECT_EQ(Run("-findUsers -p Main -e ann -listServers -purgeQsf"),
            Text({"No unused QSFs found"}));
}

TEST_F(DispatchTest, AWordTwiceRunsOnce) {
  EXPECT_EQ(Run("-listServers -LISTSERVERS"), NoDatabase());
}

TEST_F(DispatchTest, AWordThatIsAValueCountsToo) {
  EXPECT_EQ(Run("-findUsers -p -listServers -e ann"), NoDatabase());
  EXPECT_EQ(Run("-listServers -p -FINDUSERS"), NoDatabase());
  EXPECT_EQ(Run("-p -findUsers"), FindUsersUsage());
}

TEST_F(DispatchTest, AWordThatIsAValueIsTheValueToo) {
  EXPECT_EQ(Run("-findUsers -p -checkQsf -e ann"), NoProfile("CheckQsf") + Text({"Done"}));
  EXPECT_EQ(ArgumentsOf("IProfAdmin::AdminServices", "profile"), Strings{"-checkQsf"});
}

// What the commands that know no "-v" do with it.

TEST_F(DispatchTest, ListServersIgnoresVerbose) { EXPECT_EQ(Run("-listServers -v"), NoDatabase()); }

// Ctrl+C.

TEST_F(DispatchTest, CtrlCIsToldAndTheProgramGoesOnUntilTheCommandLooks) {
  Add(L"ann");
  AddRoot();
  Faults().DelayEach("HrQueryAllRows@MsgServiceTable", kTimeForCtrlC);
  RunningProgram program = StartAdmin("-checkQsf -p Main -v -c");
  ASSERT_TRUE(program.WaitForOutput("The Control Handler is installed.\r\n"));
  ASSERT_TRUE(program.SendCtrlC());
  const RunResult result = program.Wait();
  EXPECT_EQ(result.output, Text({
                               "The Control Handler is installed.",
                               "*User Break",
                               "CheckQsf: Checking 2 MAPI stores...",
                               "CheckQsf: LogonToStores failed : 0x80040113",
                               "Done",
                               "Exiting.",
                           }));
  EXPECT_EQ(result.exitCode, 0U);
  EXPECT_EQ(Calls("MAPIUninitialize").size(), Calls("MAPIInitialize").size());
}

TEST_F(DispatchTest, EveryCtrlCIsTold) {
  Add(L"ann");
  Faults().DelayEach("HrQueryAllRows@MsgServiceTable", kTimeForCtrlC);
  RunningProgram program = StartAdmin("-findUsers -v -p Main -e nobody");
  ASSERT_TRUE(program.WaitForOutput("The Control Handler is installed.\r\n"));
  ASSERT_TRUE(program.SendCtrlC());
  ASSERT_TRUE(program.WaitForOutput("*User Break\r\n"));
  ASSERT_TRUE(program.SendCtrlC());
  EXPECT_EQ(program.Wait().output,
            Text({"The Control Handler is installed.", "*User Break", "*User Break", "Exiting."}));
}

// The handler is in the process as often as it was installed.
TEST_F(DispatchTest, CtrlCIsToldOnceThoughTheHandlerIsInstalledTwice) {
  Add(L"ann");
  Faults().DelayEach("HrQueryAllRows@MsgServiceTable", kTimeForCtrlC);
  RunningProgram program = StartAdmin("-compactQsf -v -p Main -e nobody");
  const std::string installed =
      Text({"The Control Handler is installed.", "The Control Handler is installed."});
  ASSERT_TRUE(program.WaitForOutput(installed));
  ASSERT_TRUE(program.SendCtrlC());
  EXPECT_EQ(program.Wait().output, installed + Text({"*User Break", "Exiting."}));
}

TEST_F(DispatchTest, CtrlCBeforeTheCommandHasInstalledItsHandlerEndsTheProgram) {
  AllowLeaks();
  Faults().DelayEach("MAPIInitialize", 20000);
  RunningProgram program = StartAdmin("-findUsers -p Main -e ann");
  // It may take a moment until the program can be reached.
  for (int attempt = 0; attempt < 50 && program.IsRunning(); ++attempt) {
    program.SendCtrlC();
    Sleep(200);
  }
  const RunResult result = program.Wait(milliseconds(1000));
  EXPECT_EQ(result.output, "");
  EXPECT_LT(result.elapsed, seconds(15));
}

}  // namespace
}  // namespace e2e
