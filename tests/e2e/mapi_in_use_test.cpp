// The refusal to run while other programs have MAPI loaded.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lab/common/installation.h"
#include "tests/e2e/command_lab_test.h"
#include "tests/e2e/support/mapi_holder.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/usage_text.h"

namespace e2e {
namespace {

class MapiInUseTest : public CommandLabTest {
 protected:
  // A run of a command that prints nothing when it is let through.
  std::string RunChecked(const RunOptions& options = {}) { return Run("-purgeQsf", options); }

  RunOptions CopiedAs(const std::wstring& fileName) const {
    return {.program = CopyShippedProgram(Directory(), fileName)};
  }
};

TEST_F(MapiInUseTest, AProgramThatHasMapiLoadedIsNamedAndNothingElseHappens) {
  MapiHolder holder(L"outlook.exe");
  EXPECT_EQ(RunChecked(), MapiInUse({"outlook.exe"}));
  EXPECT_FALSE(MapiWasTouched());
}

TEST_F(MapiInUseTest, AfterItsEndTheCommandRuns) {
  MapiHolder holder(L"outlook.exe");
  holder.Quit();
  EXPECT_EQ(RunChecked(), "");
  EXPECT_EQ(Calls("MAPIInitialize").size(), 1U);
}

// Which modules count.

struct ModuleCase : NamedCase {
  Words modules;
};

class CountedModuleTest : public MapiInUseTest, public ::testing::WithParamInterface<ModuleCase> {};

TEST_P(CountedModuleTest, NamesTheProgramOnce) {
  MapiHolder holder(L"mailer.exe", GetParam().modules);
  EXPECT_EQ(RunChecked(), MapiInUse({"mailer.exe"}));
}

INSTANTIATE_TEST_SUITE_P(Modules, CountedModuleTest,
                         ::testing::Values(ModuleCase{"Mapi32", "mapi32.dll"},
                                           ModuleCase{"Mapi32InCapitals", "MAPI32.DLL"},
                                           ModuleCase{"Mapi32InMixedCase", "Mapi32.Dll"},
                                           ModuleCase{"Olmapi32", "olmapi32.dll"},
                                           ModuleCase{"Olmapi32InCapitals", "OLMAPI32.DLL"},
                                           ModuleCase{"Olmapi32InMixedCase", "OlMapi32.dll"},
                                           ModuleCase{"Both", "MAPI32.DLL olmapi32.dll"},
                                           ModuleCase{"AmongOthers",
                                                      "one.dll olmapi32.dll two.dll"}),
                         kByName);

class OtherModuleTest : public MapiInUseTest, public ::testing::WithParamInterface<ModuleCase> {};

TEST_P(OtherModuleTest, DoesNotCount) {
  MapiHolder holder(L"mailer.exe", GetParam().modules);
  EXPECT_EQ(RunChecked(), "");
}

INSTANTIATE_TEST_SUITE_P(Modules, OtherModuleTest,
                         ::testing::Values(ModuleCase{"None", {}},
                                           ModuleCase{"Msmapi32", "msmapi32.dll"},
                                           ModuleCase{"NameInsideAnother", "xmapi32.dll"},
                                           ModuleCase{"NameBeforeMore", "mapi32.dll.dll"},
                                           ModuleCase{"OtherNumber", "mapi64.dll"},
                                           ModuleCase{"OtherExtension", "mapi32.drv"}),
                         kByName);

// Which programs are named, and in what order.

TEST_F(MapiInUseTest, TwoProgramsOfOneNameAreNamedOnce) {
  MapiHolder first(L"outlook.exe");
  MapiHolder second(L"outlook.exe", {L"olmapi32.dll"});
  EXPECT_EQ(RunChecked(), MapiInUse({"outlook.exe"}));
}

TEST_F(MapiInUseTest, NamesStandInOrdinalOrder) {
  MapiHolder alpha(L"alpha.exe");
  MapiHolder zeta(L"Zeta.exe");
  MapiHolder beta(L"beta.exe");
  EXPECT_EQ(RunChecked(), MapiInUse({"Zeta.exe", "alpha.exe", "beta.exe"}));
}

TEST_F(MapiInUseTest, NamesThatDifferInCaseAreTwo) {
  MapiHolder lower(L"a.exe");
  MapiHolder upper(L"A.exe");
  EXPECT_EQ(RunChecked(), MapiInUse({"A.exe", "a.exe"}));
}

TEST_F(MapiInUseTest, NamesMayHoldAnyLetters) {
  MapiHolder chinese(L"\u4e2d mail.exe");
  MapiHolder german(L"\u00fcber%s.exe");
  EXPECT_EQ(RunChecked(), MapiInUse({"\u00fcber%s.exe", "\u4e2d mail.exe"}));
}

TEST_F(MapiInUseTest, ALongNameIsShownWhole) {
  const std::wstring name = std::wstring(150, L'n') + L".exe";
  MapiHolder holder(name);
  EXPECT_EQ(RunChecked(), MapiInUse({Utf8FromWide(name)}));
}

// The program itself is known by the name of its file.

TEST_F(MapiInUseTest, ProgramsOfTheSameFileNameAreSkipped) {
  MapiHolder copy(L"qrvadmin.exe");
  EXPECT_EQ(RunChecked(), "");
  MapiHolder mailer(L"mailer.exe");
  EXPECT_EQ(RunChecked(), MapiInUse({"mailer.exe"}));
}

TEST_F(MapiInUseTest, TheLetterCaseOfTheFileNameIsOfNoMatter) {
  MapiHolder copy(L"QRVAdmin.EXE");
  EXPECT_EQ(RunChecked(), "");
  EXPECT_EQ(RunChecked(CopiedAs(L"QRVADMIN.exe")), "");
}

TEST_F(MapiInUseTest, AnotherRunOfTheProgramIsSkipped) {
  lab::Profile(L"Main").Create();
  Faults().DelayEach("HrQueryAllRows@MsgServiceTable", 60000);
  RunningProgram other = StartAdmin("-findUsers -v -p Main -e ann");
  ASSERT_TRUE(other.WaitForOutput("The Control Handler is installed.\r\n"));
  Faults() = {};
  EXPECT_EQ(RunChecked(), "");
  EXPECT_TRUE(other.IsRunning());
  other.Kill();
}

TEST_F(MapiInUseTest, ARenamedProgramSkipsItsNewNameOnly) {
  const RunOptions renamed = CopiedAs(L"mailer.exe");
  MapiHolder sameName(L"Mailer.exe");
  EXPECT_EQ(RunChecked(renamed), "");
  MapiHolder oldName(L"qrvadmin.exe");
  EXPECT_EQ(RunChecked(renamed), MapiInUse({"qrvadmin.exe"}));
}

TEST_F(MapiInUseTest, TheFirstArgumentIsNotTheFileName) {
  MapiHolder holder(L"mailer.exe");
  EXPECT_EQ(RunAs(L"C:\\mailer.exe", "-purgeQsf"), MapiInUse({"mailer.exe"}));
}

TEST_F(MapiInUseTest, TheScanUtilityAndTheProgramCountForEachOther) {
  MapiHolder utility(L"qsfscan.exe");
  EXPECT_EQ(RunChecked(), MapiInUse({"qsfscan.exe"}));
  MapiHolder program(L"qrvadmin.exe");
  const RunResult result = RunAdmin("-p Main -c", CopiedAs(L"qsfscan.exe"));
  EXPECT_EQ(result.output, MapiInUse({"qrvadmin.exe"}));
  EXPECT_EQ(result.exitCode, 1U);
}

// Where in a command the check stands.

class CheckedCommandTest : public MapiInUseTest, public ::testing::WithParamInterface<LineCase> {};

TEST_P(CheckedCommandTest, LeavesMapiAndTheServiceAlone) {
  SetController(lab::ControllerState::kStopped);
  MapiHolder holder(L"outlook.exe");
  EXPECT_EQ(Run(GetParam().words), MapiInUse({"outlook.exe"}));
  EXPECT_FALSE(MapiWasTouched());
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
}

TEST_P(CheckedCommandTest, VerboseSaysOnlyThatItExits) {
  MapiHolder holder(L"outlook.exe");
  EXPECT_EQ(Run(GetParam().words + "-v"), MapiInUse({"outlook.exe"}) + Text({"Exiting."}));
}

INSTANTIATE_TEST_SUITE_P(Commands, CheckedCommandTest, ::testing::ValuesIn(ExclusiveCommands()),
                         kByName);

TEST_F(MapiInUseTest, CommandsWithoutTheCheckRun) {
  MapiHolder holder(L"outlook.exe");
  EXPECT_EQ(Run("-findUsers -p Nobody -e ann"), NoProfile("FindUsers"));
  EXPECT_EQ(Run("-listServers"), NoDatabase());
  EXPECT_EQ(Run("-listAgents -s BES"),
            NoDatabase() + Text({"qrvAdminListAgents: GetServers failed : 0x80070002"}));
}

TEST_F(MapiInUseTest, WrongSwitchesAreToldFirst) {
  MapiHolder holder(L"outlook.exe");
  EXPECT_EQ(Run("-checkQsf"), CheckQsfUsage());
  EXPECT_EQ(Run("-compactQsf -c"), CompactQsfUsage());
  EXPECT_EQ(Run("-assignAgents -e"), AssignAgentsUsage());
  EXPECT_EQ(Run("-scanQsf"), SwitchError() + ScanQsfUsage());
  EXPECT_EQ(Run("-h -purgeQsf"), PurgeQsfUsage());
}

TEST_F(MapiInUseTest, TheCheckComesBeforeMapi) {
  Faults().FailEach("MAPIInitialize", 0x80004005);
  MapiHolder holder(L"outlook.exe");
  EXPECT_EQ(RunChecked(), MapiInUse({"outlook.exe"}));
}

}  // namespace
}  // namespace e2e
