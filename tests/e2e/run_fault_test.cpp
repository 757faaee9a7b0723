// Faults of qrvrun's own: it says one line, and the tool is not started.
#include "tests/e2e/run_frame.h"
#include "tests/e2e/support/temp_directory.h"

namespace e2e {
namespace {

struct FaultCase : NamedCase {
  Words words;
  std::string why;
};

class RunFaultTest : public RunTest, public ::testing::WithParamInterface<FaultCase> {};

TEST_P(RunFaultTest, IsOneLineAndTheToolIsNotStarted) {
  ExpectRun(GetParam().words, {}, Fault(GetParam().why));
  EXPECT_FALSE(ToolWasStarted());
}

constexpr char kNoCommand[] = "no command (-h shows help)";
constexpr char kNoLogName[] = "-log wants the name of a file";
constexpr char kNoMinutes[] = "-timeout wants minutes, above 0 and at most 10000";

INSTANTIATE_TEST_SUITE_P(Commands, RunFaultTest,
                         ::testing::Values(FaultCase{"Nothing", Words{}, kNoCommand},
                                           FaultCase{"OnlySwitches", "-quiet -timeout 1",
                                                     kNoCommand},
                                           FaultCase{"OnlyTheEndOfTheSwitches", "--", kNoCommand}),
                         kByName);

INSTANTIATE_TEST_SUITE_P(
    LetterCases, RunFaultTest,
    ::testing::Values(FaultCase{"Log", "-Log x.log -findUsers -p Main -e ann",
                                "the switch -Log is written -log"},
                      FaultCase{"Timeout", "-TIMEOUT 1 -findUsers -p Main -e ann",
                                "the switch -TIMEOUT is written -timeout"},
                      FaultCase{"Quiet", "-timeout 1 -Quiet -findUsers -p Main -e ann",
                                "the switch -Quiet is written -quiet"},
                      FaultCase{"Help", "-H", "the switch -H is written -h"}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    Values, RunFaultTest,
    ::testing::Values(FaultCase{"LogWithoutName", "-log", kNoLogName},
                      FaultCase{"LogNamedAsASwitch", "-log -findUsers -p Main -e ann", kNoLogName},
                      FaultCase{"LogWithAnEmptyName", "-log \"\" -findUsers -p Main -e a",
                                kNoLogName},
                      FaultCase{"TimeoutWithoutMinutes", "-timeout", kNoMinutes},
                      FaultCase{"NoTime", "-timeout 0 -listServers", kNoMinutes},
                      FaultCase{"TimeBelowZero", "-timeout -1 -listServers", kNoMinutes},
                      FaultCase{"TooLong", "-timeout 10000.1 -listServers", kNoMinutes},
                      FaultCase{"NoNumber", "-timeout soon -listServers", kNoMinutes},
                      FaultCase{"NumberAndMore", "-timeout 5m -listServers", kNoMinutes},
                      FaultCase{"Hexadecimal", "-timeout 0x10 -listServers", kNoMinutes},
                      FaultCase{"Comma", "-timeout 1,5 -listServers", kNoMinutes},
                      FaultCase{"TwoPoints", "-timeout 1.5.2 -listServers", kNoMinutes},
                      FaultCase{"Infinite", "-timeout inf -listServers", kNoMinutes}),
    kByName);

class RunSetUpTest : public RunTest {};

TEST_F(RunSetUpTest, TheBoundsOfTheTimeAreTaken) {
  AddRoot();
  for (const char* words : {"-timeout 10000 -findUsers -p Main -e nobody",
                            "-timeout 00.5 -findUsers -p Main -e nobody"}) {
    EXPECT_EQ(RunAdmin(words).exitCode, 0U) << words;
  }
}

TEST_F(RunSetUpTest, ALogThatCannotBeOpenedKeepsTheToolFromStarting) {
  const std::wstring folder = Directory().wstring();
  ExpectRun(Words{L"-log", folder} + "-listServers", {},
            Fault("the log cannot be opened: " + Utf8FromWide(folder) + " (error 5)"));
  const std::wstring missing = StorePath(L"missing\\night.log");
  ExpectRun(Words{L"-log", missing} + "-listServers", {},
            Fault("the log cannot be opened: " + Utf8FromWide(missing) + " (error 3)"));
  EXPECT_FALSE(ToolWasStarted());
}

TEST_F(RunSetUpTest, AToolThatIsNotBesideItIsNotFoundElsewhere) {
  const TempDirectory folder;
  const std::filesystem::path alone = folder.Path() / L"qrvrun.exe";
  std::filesystem::copy_file(Runner(), alone);
  const RunEnding ending =
      Fault("not found: " + Utf8FromWide((folder.Path() / L"qrvadmin.exe").wstring()));
  // Neither in the current folder nor by the path.
  RunOptions options = {.program = alone, .workingDirectory = LabBinaries()};
  options.environment.emplace(L"PATH", LabBinaries().wstring());
  ExpectRun("-listServers", {}, ending, options);
  EXPECT_FALSE(ToolWasStarted());
  // Its log says so too.
  ExpectRun(WithLog("-listServers"), {}, ending, options);
  const Strings lines = LogLines();
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_TRUE(lines[2].starts_with(ending.lines[0] + ", after 0."));
}

TEST_F(RunSetUpTest, AToolThatIsNoProgramCannotBeStarted) {
  const TempDirectory folder;
  const std::filesystem::path alone = folder.Path() / L"qrvrun.exe";
  std::filesystem::copy_file(Runner(), alone);
  std::ofstream(folder.Path() / L"qrvadmin.exe") << "no program";
  const RunResult result = RunAdmin("-listServers", {.program = alone});
  const Strings lines = Lines(result.output);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].starts_with("qrvrun: exit code 5, cannot be started: ")) << lines[0];
  EXPECT_EQ(result.exitCode, 5U);
}

TEST_F(RunSetUpTest, TheHelpScreenIsShownAndNothingIsStarted) {
  for (const char* words : {"-h", "-h -listServers"}) {
    const RunResult result = RunAdmin(words);
    EXPECT_EQ(Lines(result.output).front(),
              "qrvrun [-log file] [-timeout minutes] [-quiet] command [argument ...]");
    EXPECT_EQ(result.errorOutput, "");
    EXPECT_EQ(result.exitCode, 1U);
  }
  EXPECT_FALSE(ToolWasStarted());
}

// Only as the first argument: behind others it is the tool's.
TEST_F(RunSetUpTest, AQuestionForHelpBehindASwitchIsTheTools) {
  const RunResult result = RunAdmin("-timeout 1 -h");
  EXPECT_EQ(Lines(result.output).front(), "qrvadmin is used for administering a QRV installation.");
  EXPECT_EQ(result.exitCode, 1U);
}

// Names of switches are the tool's from its first argument on.
TEST_F(RunSetUpTest, BehindTheFirstArgumentOfTheToolsAllAreTheTools) {
  profile_ = lab::Profile(L"-quiet");
  Add(L"ann");
  ExpectRun(
      "-findUsers -p -quiet -e ann -timeout 0",
      {"Email: ann@example.com", "Type: QSF store", "QSF: ann.qsf", "Embedded stores: none", " "},
      Good());
}

}  // namespace
}  // namespace e2e
