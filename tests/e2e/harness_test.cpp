// What the tests' own machinery promises, tried on a small program instead of the product.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>
#include <string>
#include <vector>

#include "src/platform/handle.h"
#include "tests/e2e/support/directory.h"
#include "tests/e2e/support/lab_test.h"
#include "tests/e2e/support/mapi_holder.h"
#include "tests/e2e/support/output.h"
#include "tests/e2e/support/program.h"
#include "tests/e2e/support/temp_directory.h"

namespace e2e {
namespace {

using std::chrono::milliseconds;

RunOptions EchoChild() { return {.program = LabBinaries() / L"echo_child.exe"}; }

Strings EchoedArguments(const Words& arguments) {
  return Lines(RunProgram("echo" + arguments, EchoChild()).output);
}

TEST(HarnessTest, EveryArgumentArrivesUnchanged) {
  const Words arguments = {
      L"plain",      L"",          L"two words",       L"tab\there",
      L"say \"hi\"", L"C:\\dir\\", L"C:\\a b\\",       L"\\\"",
      L"a\\\\\"b",   L"*.cpp",     L"\u00fcser\u4e2d", std::wstring(5000, L'x')};
  Strings expected;
  for (const std::wstring& argument : arguments) {
    expected.push_back("[" + Utf8FromWide(argument) + "]");
  }
  EXPECT_EQ(EchoedArguments(arguments), expected);
}

TEST(HarnessTest, ATextIsCutIntoWords) {
  EXPECT_EQ(Words(" -e  \"two words\" \"\" \u4e2d c:\\x "),
            (Words{L"-e", L"two words", L"", L"\u4e2d", L"c:\\x"}));
  EXPECT_EQ("-a -b" + Words{L" c "}, (Words{L"-a", L"-b", L" c "}));
}

TEST(HarnessTest, TheProgramNameCanDifferFromTheFile) {
  RunOptions options = EchoChild();
  options.programName = L"./my tool";
  EXPECT_EQ(RunProgram("name", options).output, Text({"[./my tool]"}));
}

TEST(HarnessTest, TheExitCodeIsPassedOn) {
  EXPECT_EQ(RunProgram("exit 0", EchoChild()).exitCode, 0U);
  EXPECT_EQ(RunProgram("exit 258", EchoChild()).exitCode, 258U);
}

TEST(HarnessTest, InputIsGivenAndThenEnds) {
  RunOptions options = EchoChild();
  options.input = "y\r\n" + std::string(200000, 'z');
  EXPECT_TRUE(RunProgram("cat", options).output == options.input);
  EXPECT_EQ(RunProgram("cat", EchoChild()).output, "");
}

TEST(HarnessTest, TheEnvironmentIsChangedForTheChildOnly) {
  RunOptions options = EchoChild();
  options.environment = {{L"QRV_HARNESS", L"\u00fc"}, {L"windir", std::nullopt}};
  EXPECT_EQ(RunProgram("environment QRV_HARNESS", options).output, Text({"\u00fc"}));
  EXPECT_EQ(RunProgram("environment windir", options).output, Text({"unset"}));
  EXPECT_EQ(_wgetenv(L"QRV_HARNESS"), nullptr);
}

TEST(HarnessTest, OutputCanGoIntoAFile) {
  const TempDirectory directory;
  RunOptions options = EchoChild();
  options.outputFile = directory.Path() / L"out.txt";
  EXPECT_EQ(RunProgram("echo a", options).output, Text({"[a]"}));
  EXPECT_TRUE(std::filesystem::exists(options.outputFile));
}

TEST(HarnessTest, ProgramsHoldNoHandlesOfEachOther) {
  RunningProgram first = RunningProgram::Start("cat", EchoChild());
  RunningProgram second = RunningProgram::Start("cat", EchoChild());
  first.CloseStdin();
  EXPECT_FALSE(first.Wait(milliseconds(5000)).timedOut);
  EXPECT_TRUE(second.IsRunning());
}

TEST(HarnessTest, ControlEventsReachTheProgramAndSpareTheTest) {
  RunningProgram program = RunningProgram::Start("control", EchoChild());
  ASSERT_TRUE(program.WaitForOutput("ready\r\n"));
  ASSERT_TRUE(program.SendCtrlC());
  ASSERT_TRUE(program.WaitForOutput("ready\r\nCtrl+C\r\n"));
  const bool breakRaised = program.SendCtrlBreak();
  if (!breakRaised) {
    ASSERT_TRUE(program.SendCtrlC());
  }
  const RunResult result = program.Wait(milliseconds(10000));
  EXPECT_EQ(result.output, Text({"ready", "Ctrl+C", breakRaised ? "Ctrl+Break" : "Ctrl+C"}));
  EXPECT_EQ(result.exitCode, 0U);
}

TEST(HarnessTest, CtrlCEndsAProgramThatDoesNotHandleIt) {
  RunningProgram program = RunningProgram::Start("sleep 30000", EchoChild());
  ASSERT_TRUE(program.WaitForOutput("sleeping"));
  program.SendCtrlC();
  EXPECT_FALSE(program.Wait(milliseconds(10000)).timedOut);
}

TEST(HarnessTest, DetachedProgramsGetNoCtrlC) {
  RunOptions options = EchoChild();
  options.detached = true;
  RunningProgram program = RunningProgram::Start("sleep 1000", options);
  ASSERT_TRUE(program.WaitForOutput("sleeping"));
  program.SendCtrlC();
  EXPECT_EQ(program.Wait().exitCode, 0U);
}

TEST(HarnessTest, TheWatchdogKillsAndShowsWhatWasPrinted) {
  static RunResult result;
  EXPECT_NONFATAL_FAILURE(
      {
        RunOptions options = EchoChild();
        options.timeout = milliseconds(5000);
        result = RunProgram("sleep 60000", options);
      },
      "it had printed:\nsleeping");
  EXPECT_TRUE(result.timedOut);
  EXPECT_EQ(result.output, Text({"sleeping"}));
  EXPECT_LT(result.elapsed, milliseconds(30000));
}

TEST(HarnessTest, MissingOutputIsShownWithWhatCameInstead) {
  RunningProgram program = RunningProgram::Start("echo a", EchoChild());
  const ::testing::AssertionResult answer = program.WaitForOutput("never");
  EXPECT_FALSE(answer);
  EXPECT_STREQ(answer.message(), "\"never\" was not printed, but only:\n[a]\\r\\n\n");
}

bool ProcessEnds(DWORD id) {
  const platform::KernelHandle process(OpenProcess(SYNCHRONIZE, FALSE, id));
  return !process || WaitForSingleObject(process.Get(), 5000) != WAIT_TIMEOUT;
}

TEST(HarnessTest, ProcessesLeftBehindAreKilledWithTheProgram) {
  DWORD leftBehind = 0;
  {
    RunningProgram program = RunningProgram::Start("spawn", EchoChild());
    leftBehind = static_cast<DWORD>(std::stoul(program.Wait().output));
    const platform::KernelHandle process(OpenProcess(SYNCHRONIZE, FALSE, leftBehind));
    ASSERT_TRUE(process);
    EXPECT_EQ(WaitForSingleObject(process.Get(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
  }
  EXPECT_TRUE(ProcessEnds(leftBehind));
}

TEST(HarnessTest, LinesRejectsOtherLineEnds) {
  EXPECT_EQ(Lines("a\r\n\r\n b \r\n"), (Strings{"a", "", " b "}));
  EXPECT_NONFATAL_FAILURE(Lines("a\nb\r\n"), "not CR LF");
  EXPECT_NONFATAL_FAILURE(Lines("a\r\nb"), "not ended");
  EXPECT_EQ(SortedLines("b\r\na\r\n"), (Strings{"a", "b"}));
  EXPECT_EQ(CountLines("b\r\na\r\nb\r\n", "b"), 2);
}

TEST(HarnessTest, AHolderLoadsItsModules) {
  MapiHolder holder(L"Zeta.exe", {L"MAPI32.DLL", L"OLMAPI32.DLL"});
  holder.Quit();
}

TEST(HarnessTest, EachTemporaryDirectoryIsNewAndRemoved) {
  std::filesystem::path path;
  {
    const TempDirectory first;
    const TempDirectory second;
    path = first.Path();
    EXPECT_NE(first.Path(), second.Path());
    std::ofstream(path / L"f\u4e2d.txt") << "x";
    EXPECT_TRUE(std::filesystem::exists(path / L"f\u4e2d.txt"));
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

class LabFrameTest : public LabTest {
 protected:
  void Note(lab::JournalEntry::Kind kind) {
    lab::AppendJournalNote(StorePath(L"journal.txt"), kind, "something");
  }
};

TEST_F(LabFrameTest, ProgramsGetTheLabDirectoryAndTheTestDoesNot) {
  EXPECT_EQ(RunAdmin("environment QRVLAB_DIR", EchoChild()).output,
            Text({Utf8FromWide(Directory().wstring())}));
  EXPECT_EQ(_wgetenv(L"QRVLAB_DIR"), nullptr);
}

TEST_F(LabFrameTest, LeaksAndUnexpectedCallsFailTheTest) {
  EXPECT_NONFATAL_FAILURE(
      {
        Note(lab::JournalEntry::Kind::kLeak);
        ClearJournal();
      },
      "leak: something");
  EXPECT_NONFATAL_FAILURE(
      {
        Note(lab::JournalEntry::Kind::kUnexpected);
        ClearJournal();
      },
      "unexpected call: something");
}

TEST_F(LabFrameTest, AllowedLeaksDoNotFailTheTest) {
  AllowLeaks();
  Note(lab::JournalEntry::Kind::kLeak);
}

}  // namespace
}  // namespace e2e
