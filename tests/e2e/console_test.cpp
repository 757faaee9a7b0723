// What becomes of lines on their way out: characters of all kinds, long lines, line ends.
#include <gtest/gtest.h>

#include <string>

#include "lab/common/installation.h"
#include "tests/e2e/command_lab_test.h"
#include "tests/e2e/usage_text.h"

namespace e2e {
namespace {

class ConsoleTest : public CommandLabTest {
 protected:
  // The line with `profile` in it that a profile without stores gives.
  std::string ShowProfile(const std::wstring& profile, const RunOptions& options = {}) {
    return Run({L"-scanQsf", L"-p", profile}, options);
  }
  static std::string ProfileLine(const std::string& profile) {
    return "No .qsf files associated with [" + profile + "] profile";
  }

  RunOptions IntoAFile() const { return {.outputFile = Directory() / L"output.txt"}; }
};

// Characters.

const wchar_t kLetters[] = L"\u00fcser \u00e9\u0416\u03a9\u4e2d\u05d0 \U0001F600.";
const char kShownLetters[] = "\u00fcser \u00e9\u0416\u03a9\u4e2d\u05d0 \U0001F600.";

TEST_F(ConsoleTest, LettersOfAllScriptsOnAPipe) {
  EXPECT_EQ(ShowProfile(kLetters), Text({ProfileLine(kShownLetters)}));
}

TEST_F(ConsoleTest, LettersOfAllScriptsInAFile) {
  EXPECT_EQ(ShowProfile(kLetters, IntoAFile()), Text({ProfileLine(kShownLetters)}));
}

// A stream that fails at such a letter would swallow all that follows.
TEST_F(ConsoleTest, LinesBehindSuchLettersAreShownToo) {
  const lab::Profile profile(kLetters);
  profile.AddSecondaryStore(L"\u4e2d@example.com", StorePath(L"one.qsf"));
  profile.AddSecondaryStore(L"\u0416\U0001F600@example.com", StorePath(L"two.qsf"));
  const Words arguments = {L"-findUsers", L"-p", kLetters, L"-e", L"\u4e2d", L"\u0416", L"-v"};
  const std::string expected = Text({
      "The Control Handler is installed.",
      "Email: \u4e2d@example.com",
      "Type: QSF store",
      "QSF: one.qsf",
      "Embedded stores: none",
      " ",
      "Email: \u0416\U0001F600@example.com",
      "Type: QSF store",
      "QSF: two.qsf",
      "Embedded stores: none",
      " ",
      "Exiting.",
  });
  EXPECT_EQ(Run(arguments), expected);
  EXPECT_EQ(Run(arguments, IntoAFile()), expected);
}

TEST_F(ConsoleTest, HalfOfALetterOfTwoUnitsDoesNotEndTheOutput) {
  const std::string output = ShowProfile(L"a\xd83dz");
  EXPECT_TRUE(output.starts_with("No .qsf files associated with [a")) << Visible(output);
  EXPECT_TRUE(output.ends_with("z] profile\r\n")) << Visible(output);
}

TEST_F(ConsoleTest, PercentSignsInNamesAreNoFormat) {
  EXPECT_EQ(ShowProfile(L"%s%n%d%hs%%"), Text({ProfileLine("%s%n%d%hs%%")}));
}

TEST_F(ConsoleTest, EveryLineEndIsCarriageReturnAndLineFeed) {
  for (const CommandWord& command : CommandWords()) {
    EXPECT_EQ(Lines(Run({command.word, L"-h"}, IntoAFile())), Lines(command.usage("qrvadmin")));
  }
}

// Long lines. The line has 40 characters beside the profile's name.

TEST_F(ConsoleTest, ALineOf254CharactersIsShownWhole) {
  ASSERT_EQ(ProfileLine("").size(), 40U);
  EXPECT_EQ(ShowProfile(std::wstring(214, L'p')), Text({ProfileLine(std::string(214, 'p'))}));
  EXPECT_EQ(ShowProfile(std::wstring(214, L'\u4e2d')).size(), 40 + 3 * 214 + 2U);
}

TEST_F(ConsoleTest, OfALongerLineTheBeginningIsShown) {
  for (const size_t length : {215, 300, 5000}) {
    EXPECT_EQ(ShowProfile(std::wstring(length, L'p')),
              Text({ProfileLine(std::string(length, 'p')).substr(0, 254)}));
  }
}

TEST_F(ConsoleTest, LinesBehindALongOneAreShown) {
  const std::string user(300, 'u');
  profile_.AddSecondaryStore(std::wstring(300, L'u') + L"@example.com", StorePath(L"long.qsf"));
  EXPECT_EQ(Run("-findUsers -p Main -e @"), Text({
                                                ("Email: " + user).substr(0, 254),
                                                "Type: QSF store",
                                                "QSF: long.qsf",
                                                "Embedded stores: none",
                                                " ",
                                            }));
}

// The line on the way.

TEST_F(ConsoleTest, EachLineIsShownAtOnce) {
  AddRoot();
  RunningProgram program = StartAdmin("-checkQsf -p Main -e nobody");
  EXPECT_TRUE(program.WaitForOutput("CheckQsf: Checking 0 MAPI stores...\r\n"));
  EXPECT_TRUE(program.IsRunning());
  program.Kill();
}

// What is printed when wmain has returned and the process ends: support/late_line.cpp.
TEST_F(ConsoleTest, LinesAreShownToTheProcessesEnd) {
  const RunOptions options = {.program = LabBinaries() / L"late_line_client.exe",
                              .programName = L"qrvadmin"};
  EXPECT_EQ(Run({}, options), GeneralUsage() + Text({"\u4e2d: late"}));
}

// Verbose lines.

TEST_F(ConsoleTest, VerboseLinesAreShownOnlyWhenAskedFor) {
  const std::string quiet = NoProfile("CompactQsf");
  EXPECT_EQ(Run("-compactQsf -p Nobody"), quiet);
  EXPECT_EQ(Run("-compactQsf -p Nobody -v"),
            Text({"The Control Handler is installed.", "The Control Handler is installed."}) +
                quiet + Text({"Exiting."}));
}

TEST_F(ConsoleTest, PurgeInstallsTheHandlerForEachProfile) {
  EXPECT_EQ(Run("-purgeQsf -v"), Text({"Exiting."}));
  ASSERT_TRUE(lab::Profile(L"One").Create());
  ASSERT_TRUE(lab::Profile(L"Two").Create());
  EXPECT_EQ(Run("-purgeQsf -v"), Text({"The Control Handler is installed.",
                                       "The Control Handler is installed.", "Exiting."}));
}

TEST_F(ConsoleTest, AssigningInstallsTheHandlerOnce) {
  EXPECT_EQ(Run("-assignAgents -v -p Main"),
            Text({"The Control Handler is installed.", "Base Agentid=200", "Number of Agents=2"}) +
                NoDatabase() +
                Text({"AssignUsersToAgents: GetServers failed : 0x80070002", "Exiting."}));
}

}  // namespace
}  // namespace e2e
