// What the shipped tool cannot show: another program in its place, which prints, ends and stays as
// it is told.
#include <algorithm>
#include <string>

#include "tests/e2e/run_frame.h"

namespace e2e {
namespace {

Strings Brackets(const Words& words) {
  Strings lines;
  for (const std::wstring& word : words) lines.push_back("[" + Utf8FromWide(word) + "]");
  return lines;
}

TEST_F(RunStandInTest, AnExitCodeThatTheToolDoesNotHaveIsTrouble) {
  ExpectRun("exit 3 -listServers", {}, Trouble({}, {"qrvadmin ended with the code 0x3"}));
  ExpectRun("exit -1073741819 -listServers", {},
            Trouble({}, {"qrvadmin ended with the code 0xc0000005"}));
  ExpectRun("exit 0 -listServers", {}, Good());
}

TEST_F(RunStandInTest, HostileArgumentsArriveUnchanged) {
  const Words hostile = {L"",        L"two words",   L"tab\there", L"say \"hi\"",
                         L"C:\\d\\", L"C:\\a b\\",   L"\\\"",      L"a\\\\\"b",
                         L"*.cpp",   L"%PATH%",      L"^&|<>",     L"'x' or 'a'='a'",
                         L"--",      L"-quiet",      L"-log",      L"m\u00fcller\u4e2d\U0001f600",
                         L"\"",      L"\\\\\\\\\" ", L"line\nend", std::wstring(5000, L'x')};
  const RunResult result = RunAdmin("echo" + hostile);
  // The line end in an argument is one of what is printed.
  Strings expected = Brackets(hostile);
  for (std::string& line : expected) {
    const size_t end = line.find('\n');
    if (end != std::string::npos) line.replace(end, 1, "\r\n");
  }
  EXPECT_TRUE(result.output.starts_with(Text(expected) + kOwn)) << Visible(result.output);
}

TEST_F(RunStandInTest, TheEndOfOurSwitchesIsNotPassedOn) {
  const RunResult result = RunAdmin("-quiet -- echo -quiet -- -log");
  EXPECT_EQ(result.output, Text(Trouble(Brackets("-quiet -- -log")).lines));
}

TEST_F(RunStandInTest, StandardInputIsEmpty) {
  ExpectRun("cat -listServers", {}, Good(), {.input = "y\r\n"});
}

TEST_F(RunStandInTest, LinesOnStandardErrorAreLinesOfTheTools) {
  ExpectRun("complain ouch -listServers", {"ouch"}, Trouble({"ouch"}));
}

TEST_F(RunStandInTest, ALastLineWithoutAnEndIsALine) {
  ExpectRun("begin Exiting. -listServers", {"Exiting."}, Good());
  ExpectRun("begin Exiting -listServers", {"Exiting"}, Trouble({"Exiting"}));
}

TEST_F(RunStandInTest, NotAllUsersAssignedIsTrouble) {
  const std::string line = "Assigned 1 of 2 users ...";
  ExpectRun({L"say", L"Assigned 1 of 2 users ...", L"Done", L"-assignAgents"}, {line, "Done"},
            Trouble({}, {"not all users: " + line}));
  ExpectRun({L"say", L"Assigned 1 of 2 users ...", L"Assigned 2 of 2 users ...", L"Done",
             L"-assignAgents"},
            {line, "Assigned 2 of 2 users ...", "Done"}, Good());
}

TEST_F(RunStandInTest, AMissingLineIsTrouble) {
  ExpectRun("say -checkQsf", {}, Trouble({}, Missing({"All stores are OK", "Done"})));
  ExpectRun({L"say", L"All stores are OK", L"-checkQsf"}, {"All stores are OK"},
            Trouble({}, Missing({"Done"})));
  ExpectRun({L"say", L"compacting a", L"Compacting done", L"compacting b", L"-compactQsf"},
            {"compacting a", "Compacting done", "compacting b"},
            Trouble({}, Missing({"Compacting done"})));
  ExpectRun({L"say", L"scanning a", L"-scanQsf", L"-p", L"Main"}, {"scanning a"},
            Trouble({}, Missing({"file scan done."})));
}

// What a command's good run prints is none of another's.
TEST_F(RunStandInTest, AGoodLineOfAnotherCommandIsTrouble) {
  ExpectRun("say Done -listServers", {"Done"}, Trouble({"Done"}));
}

TEST_F(RunStandInTest, NoLineOfManyIsLost) {
  constexpr int kLines = 100000;
  const RunResult result = RunAdmin(WithLog({L"count", std::to_wstring(kLines), L"-listServers"}),
                                    {.timeout = std::chrono::seconds(200)});
  std::string shown;
  for (int i = 1; i <= kLines; ++i) shown += "line " + std::to_string(i) + "\r\n";
  const RunEnding ending = {
      2,
      {"qrvrun: lines of trouble: 100000, of which the first", "qrvrun:   line 1",
       "qrvrun:   line 2", "qrvrun:   line 3", "qrvrun: exit code 2, trouble"}};
  EXPECT_TRUE(result.output == shown + Text(ending.lines));
  EXPECT_EQ(result.exitCode, 2U);
  const std::string log = BytesOf(Log());
  size_t at = 0;
  for (int i = 1; i <= kLines && at != std::string::npos; ++i) {
    at = log.find(" line " + std::to_string(i) + "\r\n", at);
  }
  EXPECT_NE(at, std::string::npos);
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), kLines + 7);
}

TEST_F(RunStandInTest, WhatTheToolLeavesBehindIsEnded) {
  const RunResult result = RunAdmin("spawn");
  EXPECT_NE(Lines(result.output).front(), "0");
  EXPECT_TRUE(ProcessesOf(L"qrvadmin.exe").empty());
}

TEST_F(RunStandInTest, WhoeverHoldsTheToolsOutputDoesNotKeepTheRun) {
  const RunResult result = RunAdmin("leave");
  EXPECT_LT(result.elapsed, std::chrono::seconds(20));
  EXPECT_TRUE(ProcessesOf(L"qrvadmin.exe").empty());
}

// Ctrl+C comes once, whoever it is that asks.

TEST_F(RunStandInTest, CtrlCReachesTheToolOnce) {
  RunningProgram program = StartAdmin("control");
  ASSERT_TRUE(program.WaitForOutput("ready\r\n"));
  ASSERT_TRUE(program.SendCtrlC());
  ASSERT_TRUE(program.WaitForOutput("Ctrl+C\r\n"));
  Sleep(1500);
  // A second one would end it.
  EXPECT_TRUE(program.IsRunning());
  EXPECT_EQ(CountLines(program.OutputSoFar(), "Ctrl+C"), 1);
  program.Kill();
}

TEST_F(RunStandInTest, TheTimesCtrlCReachesNobodyElse) {
  // It shares the test's console, as does qrvrun.
  RunningProgram other =
      RunningProgram::Start("control", {.program = LabBinaries() / L"echo_child.exe"});
  ASSERT_TRUE(other.WaitForOutput("ready\r\n"));
  RunningProgram program = StartAdmin("-timeout 0.08 control");
  ASSERT_TRUE(program.WaitForOutput("Ctrl+C\r\n"));
  Sleep(500);
  EXPECT_EQ(other.OutputSoFar(), Text({"ready"}));
  EXPECT_EQ(CountLines(program.OutputSoFar(), "Ctrl+C"), 1);
  program.Kill();
  other.Kill();
}

TEST_F(RunStandInTest, CtrlCAfterTheTimeIsOverSaysNothingNewToTheTool) {
  RunningProgram program = StartAdmin("-timeout 0.08 control");
  ASSERT_TRUE(program.WaitForOutput("Ctrl+C\r\n"));
  Sleep(1500);
  ASSERT_TRUE(program.SendCtrlC());
  Sleep(1500);
  // A second one would end it.
  EXPECT_TRUE(program.IsRunning());
  EXPECT_EQ(CountLines(program.OutputSoFar(), "Ctrl+C"), 1);
  program.Kill();
}

class RunRefusalTest : public RunStandInTest {};

TEST_F(RunRefusalTest, AToolThatIgnoresCtrlCIsEndedWithAllThatItStarted) {
  const RunResult result = RunAdmin("-timeout 0.08 refuse", {.timeout = std::chrono::seconds(100)});
  const Strings lines = Lines(result.output);
  EXPECT_EQ(lines.at(1), "ready");
  EXPECT_EQ(lines.back(), "qrvrun: exit code 3, time ran out, and qrvadmin was ended");
  EXPECT_EQ(result.exitCode, 3U);
  EXPECT_GE(result.elapsed, std::chrono::milliseconds(34800));
  EXPECT_LT(result.elapsed, std::chrono::seconds(70));
  EXPECT_TRUE(ProcessesOf(L"qrvadmin.exe").empty());
}

}  // namespace
}  // namespace e2e
