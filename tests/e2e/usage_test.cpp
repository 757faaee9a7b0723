// The help screens, byte for byte, and the program's name in them.
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/support/temp_directory.h"
#include "tests/e2e/usage_text.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "tests/e2e/command_lab_test.h"

namespace e2e {
namespace {

using UsageTest = CommandLabTest;

TEST_F(UsageTest, NoArgumentsShowTheGeneralScreen) {
  EXPECT_EQ(Run({}), GeneralUsage());
  EXPECT_FALSE(MapiWasTouched());
}

TEST_F(UsageTest, HelpWithoutACommandShowsTheGeneralScreen) {
  EXPECT_EQ(Run("-h"), GeneralUsage());
  EXPECT_EQ(Run("-h -h"), GeneralUsage());
  EXPECT_EQ(Run("-v -h -p Main"), GeneralUsage());
}

class CommandUsageTest : public UsageTest, public ::testing::WithParamInterface<CommandWord> {};

TEST_P(CommandUsageTest, HelpBeforeTheCommand) {
  EXPECT_EQ(Run({L"-h", GetParam().word}), GetParam().usage("qrvadmin"));
  EXPECT_FALSE(MapiWasTouched());
}

TEST_P(CommandUsageTest, HelpBehindTheCommand) {
  EXPECT_EQ(Run({GetParam().word, L"-h"}), GetParam().usage("qrvadmin"));
  EXPECT_EQ(Run({L"-p", L"Main", GetParam().word, L"-e", L"ann", L"-h", L"-c"}),
            GetParam().usage("qrvadmin"));
  EXPECT_FALSE(MapiWasTouched());
}

TEST_P(CommandUsageTest, BeginsWithTheNameThatTheProgramWasStartedUnder) {
  EXPECT_EQ(RunAs(L"C:\\bin\\my.admin.exe", {L"-h", GetParam().word}),
            GetParam().usage("my.admin"));
}

// The handler, which looks at "-v", does not run.
TEST_P(CommandUsageTest, VerboseHelpDoesNotSayThatItExits) {
  EXPECT_EQ(Run({L"-h", L"-v", GetParam().word}), GetParam().usage("qrvadmin"));
}

INSTANTIATE_TEST_SUITE_P(Commands, CommandUsageTest, ::testing::ValuesIn(CommandWords()),
                         [](const auto& test) { return Utf8FromWide(test.param.word).substr(1); });

// The program's name.

struct NameCase : NamedCase {
  std::wstring firstArgument;
  std::string shortName;
};

class ProgramNameTest : public UsageTest, public ::testing::WithParamInterface<NameCase> {};

TEST_P(ProgramNameTest, IsTheLastPartOfTheFirstArgumentWithoutItsExtension) {
  EXPECT_EQ(RunAs(GetParam().firstArgument, {}), GeneralUsage(GetParam().shortName));
  EXPECT_EQ(RunAs(GetParam().firstArgument, "-purgeQsf -h"), PurgeQsfUsage(GetParam().shortName));
}

INSTANTIATE_TEST_SUITE_P(
    Names, ProgramNameTest,
    ::testing::Values(
        NameCase{"AsTyped", L"qrvadmin", "qrvadmin"},
        NameCase{"UpperCase", L"QRVADMIN.EXE", "QRVADMIN"},
        NameCase{"FullPath", L"C:\\Program Files\\QRV\\qrvadmin.exe", "qrvadmin"},
        NameCase{"SeveralDots", L"my.admin.exe", "my.admin"},
        NameCase{"OtherExtension", L"qrv.com", "qrv"}, NameCase{"NoExtension", L"tool", "tool"},
        NameCase{"NoExtensionBehindADottedFolder", L"C:\\v1.2\\tool", "tool"},
        NameCase{"DotAtTheEnd", L"tool.", "tool"}, NameCase{"OnlyAnExtension", L".exe", ""},
        NameCase{"OnlyAFolder", L"C:\\tools\\", ""}, NameCase{"DriveOnly", L"C:tool.exe", "C:tool"},
        NameCase{"SlashIsNoSeparator", L"./qrvadmin.exe", "./qrvadmin"},
        NameCase{"DotBeforeASlash", L"../bin/qrvadmin", "."},
        NameCase{"SlashesBehindABackslash", L"C:\\a/b.exe", "a/b"},
        NameCase{"Blanks", L"C:\\bin\\my admin tool.exe", "my admin tool"},
        NameCase{"PercentSigns", L"100%s%n%d.exe", "100%s%n%d"},
        NameCase{"Letters", L"adm\u00fcn\u4e2d\u03a9.exe", "adm\u00fcn\u4e2d\u03a9"},
        NameCase{"LettersOfTwoUnits", L"\U0001F600\U00020000.exe", "\U0001F600\U00020000"},
        NameCase{"NotTheScanUtility", L"qsfscan.v2.exe", "qsfscan.v2"},
        NameCase{"NotTheScanUtilityEither", L"myqsfscan.exe", "myqsfscan"},
        NameCase{"NorThis", L"./qsfscan.exe", "./qsfscan"},
        NameCase{"LongSIsNoS", L"q\u017ffscan.exe", "q\u017ffscan"},
        // The longest row is 51 characters longer than the name, and 254 fit.
        NameCase{"AsLongAsARowTakesIt", std::wstring(203, L'q') + L".exe", std::string(203, 'q')}),
    kByName);

TEST_F(UsageTest, TheNameIsThatOfTheFile) {
  const TempDirectory directory;
  for (const auto& [file, shortName] :
       {std::pair<std::wstring, std::string>{L"my.admin.exe", "my.admin"},
        {L"QRVADMIN.EXE", "QRVADMIN"},
        {L"without extension", "without extension"},
        {L"adm\u00fcn\u4e2d.exe", "adm\u00fcn\u4e2d"}}) {
    const RunOptions options = {.program = CopyShippedProgram(directory.Path(), file)};
    EXPECT_EQ(Run({}, options), GeneralUsage(shortName));
    EXPECT_EQ(Run("-findUsers", options), FindUsersUsage(shortName));
  }
}

// Long names reach the end of the rows, but neither the heading's nor a command's screen.
TEST_F(UsageTest, ALongNameIsShownWhole) {
  const std::wstring name(259, L'q');
  const std::string shown(259, 'q');
  EXPECT_EQ(Lines(RunAs(name, {})).front(),
            shown + " is used for administering a QRV installation.");
  EXPECT_EQ(RunAs(name, "-h -purgeQsf"), PurgeQsfUsage(shown));
}

// The stand-alone scan utility.

class QsfScanTest : public UsageTest {
 protected:
  // What the scan utility prints, and its exit code behind it.
  std::string Scan(const Words& arguments, const std::wstring& programName = L"qsfscan") {
    const RunResult result = RunAdmin(arguments, {.programName = programName});
    EXPECT_EQ(result.errorOutput, "");
    return result.output + std::to_string(result.exitCode);
  }
};

TEST_F(QsfScanTest, AFileOfThisNameIsTheScanUtility) {
  const TempDirectory directory;
  const RunOptions options = {.program = CopyShippedProgram(directory.Path(), L"QSFSCAN.EXE")};
  EXPECT_EQ(Run({}, options), QsfScanUsage("QSFSCAN"));
  EXPECT_EQ(Run("-p Nobody", options), Text({"No .qsf files associated with [Nobody] profile"}));
}

TEST_F(QsfScanTest, AnyCaseAndExtensionOfTheNameWill) {
  EXPECT_EQ(Scan({}), QsfScanUsage() + "0");
  EXPECT_EQ(Scan({}, L"C:\\bin\\QsfScan.com"), QsfScanUsage("QsfScan") + "0");
  EXPECT_EQ(Scan("-h", L"QSFSCAN.EXE"), QsfScanUsage("QSFSCAN") + "0");
}

TEST_F(QsfScanTest, CommandWordsAreNotDispatched) {
  for (const CommandWord& command : CommandWords()) {
    SCOPED_TRACE(Utf8FromWide(command.word));
    const std::wstring word = command.word;
    EXPECT_EQ(Scan({word}), SwitchError() + QsfScanUsage() + "1");
    EXPECT_EQ(Scan({L"-h", word}), QsfScanUsage() + "0");
  }
  EXPECT_FALSE(MapiWasTouched());
}

TEST_F(QsfScanTest, EveryArgumentReachesTheScan) {
  const std::string found = Text({"No .qsf files associated with [Nobody] profile"}) + "0";
  EXPECT_EQ(Scan("-p Nobody"), found);
  EXPECT_EQ(Scan("-SCANQSF -p Nobody"), found);
  EXPECT_EQ(Scan("-p Nobody -m"),
            Text({"No .qsf files have been marked as corrupt with [Nobody] profile"}) + "0");
  EXPECT_EQ(Scan("-p -listServers"),
            Text({"No .qsf files associated with [-listServers] profile"}) + "0");
}

TEST_F(QsfScanTest, TheResultIsTheExitCodeAlsoOfAVerboseRun) {
  EXPECT_EQ(Scan("-v -x"), SwitchError() + QsfScanUsage() + Text({"Exiting."}) + "1");
  EXPECT_EQ(Scan("-v -h"), QsfScanUsage() + Text({"Exiting."}) + "0");
}

TEST_F(QsfScanTest, DispatchedTheResultIsDiscarded) {
  EXPECT_EQ(Run("-scanQsf -x"), SwitchError() + ScanQsfUsage());
  EXPECT_EQ(Run("-scanQsf -v -x"), SwitchError() + ScanQsfUsage() + Text({"Exiting."}));
}

}  // namespace
}  // namespace e2e
