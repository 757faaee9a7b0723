// -findUsers: which stores it lists and what it shows of them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lab/common/installation.h"
#include "tests/e2e/common_lines.h"
#include "tests/e2e/support/lab_test.h"
#include "tests/e2e/support/mapi_holder.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/support/output.h"
#include "tests/e2e/usage_text.h"

namespace e2e {
namespace {

class FindUsersTest : public LabTest {
 protected:
  // Runs -findUsers on the profile with these fragments.
  std::string Find(const Words& fragments) { return Run("-findUsers -p Main -e" + fragments); }
};

// What -findUsers shows of the store that Add makes.
std::string Shown(const std::string& name) {
  return Text({"Email: " + name + "@example.com", "Type: QSF store", "QSF: " + name + ".qsf",
               "Embedded stores: none", " "});
}

// The entries.

TEST_F(FindUsersTest, AStoreOfItsOwnIsShownWithItsFile) {
  Add(L"ann");
  EXPECT_EQ(Find("ann@example.com"), Text({
                                         "Email: ann@example.com",
                                         "Type: QSF store",
                                         "QSF: ann.qsf",
                                         "Embedded stores: none",
                                         " ",
                                     }));
}

TEST_F(FindUsersTest, AStoreIsShownWithThoseEmbeddedInIt) {
  const lab::Service ann = Add(L"ann");
  AddEmbedded(L"bob", ann);
  AddEmbedded(L"cid", ann);
  EXPECT_EQ(Find("ann"), Text({
                             "Email: ann@example.com",
                             "Type: QSF store",
                             "QSF: ann.qsf",
                             "Embedded stores: bob@example.com,cid@example.com",
                             " ",
                         }));
}

TEST_F(FindUsersTest, AnEmbeddedStoreIsShownWithItsParent) {
  AddEmbedded(L"bob", Add(L"ann"));
  EXPECT_EQ(Find("bob"), Text({
                             "Email: bob@example.com",
                             "Type: Embedded store",
                             "Parent store: ann@example.com",
                             "Parent QSF: ann.qsf",
                             " ",
                         }));
}

TEST_F(FindUsersTest, AnEmbeddedStoreInAnEmbeddedStoreHasNoFileToShow) {
  AddEmbedded(L"cid", AddEmbedded(L"bob", Add(L"ann")));
  EXPECT_EQ(Find("cid"), Text({
                             "Email: cid@example.com",
                             "Type: Embedded store",
                             "Parent store: bob@example.com",
                             "Parent QSF: ",
                             " ",
                         }));
}

TEST_F(FindUsersTest, AnEmbeddedStoreWithoutItsParentIsDeletedAndShown) {
  AddOrphan(L"bob");
  Add(L"bobby");
  EXPECT_EQ(Find("bob"), Text({
                             "Serious error: *** Parent store not found for 'bob@example.com' ***",
                             "Deleting orphan embedded store.",
                             "DeleteMsgService : 0x0",
                             "Email: bob@example.com",
                             "Type: Embedded store",
                             "Serious error: *** Parent store not found for 'bob@example.com' ***",
                             " ",
                             "Email: bobby@example.com",
                             "Type: QSF store",
                             "QSF: bobby.qsf",
                             "Embedded stores: none",
                             " ",
                         }));
}

TEST_F(FindUsersTest, AnOrphanThatIsNotAskedForIsStillDeleted) {
  AddOrphan(L"bob");
  EXPECT_EQ(Find("ann"), Text({
                             "Serious error: *** Parent store not found for 'bob@example.com' ***",
                             "Deleting orphan embedded store.",
                             "DeleteMsgService : 0x0",
                         }));
  EXPECT_TRUE(profile_.Services().empty());
}

TEST_F(FindUsersTest, TheRootStoreIsListedToo) {
  AddRoot();
  EXPECT_EQ(Find("bes"), Shown("bes"));
}

TEST_F(FindUsersTest, ALineEndsAfter254CharactersAndTheNextIsWhole) {
  const lab::Service ann = Add(L"ann");
  std::string users;
  for (int i = 10; i < 30; ++i) {
    AddEmbedded(L"user" + std::to_wstring(i), ann);
    users += (users.empty() ? "user" : ",user") + std::to_string(i) + "@example.com";
  }
  const std::string line = "Embedded stores: " + users;
  EXPECT_EQ(Find("ann"), Text({"Email: ann@example.com", "Type: QSF store", "QSF: ann.qsf",
                               line.substr(0, 254), " "}));
}

// The file's name.

struct PathCase : NamedCase {
  const wchar_t* path;
  const char* fileName;
};

class FindUsersFileNameTest : public FindUsersTest,
                              public ::testing::WithParamInterface<PathCase> {};

TEST_P(FindUsersFileNameTest, IsWhatFollowsTheLastBackslash) {
  // The registry keeps an empty path too, which the lab adds to no store.
  const lab::Service ann = Add(L"ann", {.storedPath = L"?"});
  ASSERT_TRUE(
      lab::WriteText(profile_.Name(), ann.Store()->uid, lab::kTagStorePath, GetParam().path));
  AddEmbedded(L"bob", ann, {.withFile = false});
  const std::string fileName = GetParam().fileName;
  EXPECT_EQ(Find("\"\""), Text({"Email: ann@example.com", "Type: QSF store", "QSF: " + fileName,
                                "Embedded stores: bob@example.com", " ", "Email: bob@example.com",
                                "Type: Embedded store", "Parent store: ann@example.com",
                                "Parent QSF: " + fileName, " "}));
}

INSTANTIATE_TEST_SUITE_P(
    Paths, FindUsersFileNameTest,
    ::testing::Values(PathCase{"Deep", L"C:\\one\\two\\Ann.QSF", "ann.qsf"},
                      PathCase{"Share", L"\\\\host\\share\\ann.qsf", "ann.qsf"},
                      PathCase{"NoBackslash", L"ann.qsf", "ann.qsf"},
                      PathCase{"DriveOnly", L"C:Ann.qsf", "c:ann.qsf"},
                      PathCase{"Slashes", L"C:\\one/two/ann.qsf", "one/two/ann.qsf"},
                      PathCase{"OnlySlashes", L"c:/one/ann.qsf", "c:/one/ann.qsf"},
                      PathCase{"EndsInABackslash", L"C:\\one\\", ""}, PathCase{"Empty", L"", ""},
                      PathCase{"Blanks", L"C:\\a b\\ ann b .qsf", " ann b .qsf"},
                      PathCase{"PercentSigns", L"C:\\one\\%s%n%d.qsf", "%s%n%d.qsf"}),
    kByName);

// The fragments.

struct FragmentCase : NamedCase {
  Words fragments;
  // Of ann@example.com, joanna@example.com and zoe@example.com.
  Strings found;
};

class FindUsersFragmentTest : public FindUsersTest,
                              public ::testing::WithParamInterface<FragmentCase> {};

TEST_P(FindUsersFragmentTest, FindsTheStoresWhoseAddressContainsIt) {
  // In the profile in another order than their entry IDs have.
  Add(L"zoe", {.order = 3});
  Add(L"ann", {.order = 1});
  Add(L"joanna", {.order = 2});
  std::string expected;
  for (const std::string& name : GetParam().found) expected += Shown(name);
  EXPECT_EQ(Find(GetParam().fragments), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Fragments, FindUsersFragmentTest,
    ::testing::Values(FragmentCase{"WholeAddress", "zoe@example.com", {"zoe"}},
                      FragmentCase{"SeveralMatches", "ann", {"ann", "joanna"}},
                      FragmentCase{"Inside", "nna@ex", {"joanna"}},
                      FragmentCase{"AtTheEnd", ".com", {"ann", "joanna", "zoe"}},
                      FragmentCase{
                          "NotInFragmentOrder", "zoe joanna ann@", {"ann", "joanna", "zoe"}},
                      FragmentCase{"TwoMatchingOneStore", "joa nna", {"joanna"}},
                      FragmentCase{"TheSameTwice", "zoe zoe", {"zoe"}},
                      FragmentCase{"OneOfTwoMatching", "nobody zoe", {"zoe"}},
                      FragmentCase{"UpperCase", "ANN", {}},
                      FragmentCase{"OneUpperCaseLetter", "Zoe", {}},
                      FragmentCase{"UpperCaseBesideALowerCaseOne", "ZOE ann@", {"ann"}},
                      FragmentCase{"Empty", "\"\"", {"ann", "joanna", "zoe"}},
                      FragmentCase{"EmptyAmongOthers", "nobody \"\"", {"ann", "joanna", "zoe"}},
                      FragmentCase{"Unknown", "nobody", {}},
                      FragmentCase{"LongerThanTheAddress", "zoe@example.com.", {}},
                      FragmentCase{"BlankIsNotTrimmed", {L" zoe"}, {}},
                      FragmentCase{"BlankBehindIsNotTrimmed", {L"zoe "}, {}},
                      FragmentCase{"NoPattern", "zo? * z.e@", {}},
                      FragmentCase{"TwoLists", "zoe -e ann@", {"ann", "zoe"}},
                      FragmentCase{"ASecondListThatIsEmpty", "zoe -e", {"zoe"}},
                      FragmentCase{"AnotherSwitchEndsTheList", "zoe -x ann", {"zoe"}},
                      FragmentCase{"ALoneDashEndsTheList", "zoe - ann", {"zoe"}}),
    kByName);

TEST_F(FindUsersTest, AnAddressWrittenInCapitalsIsFoundInLowerCase) {
  Add(L"ANN@EXAMPLE.COM");
  EXPECT_EQ(Find("ann@example.com"), Shown("ann"));
  EXPECT_EQ(Find("ANN@EXAMPLE.COM"), "");
}

TEST_F(FindUsersTest, OtherCapitalsAreKeptAndFoundAsTheyAre) {
  profile_.AddSecondaryStore(L"\u00c4RGER.\u0416\u4e2d@Example.com", StorePath(L"ann.qsf"));
  const std::string entry = Text({"Email: \u00c4rger.\u0416\u4e2d@example.com", "Type: QSF store",
                                  "QSF: ann.qsf", "Embedded stores: none", " "});
  EXPECT_EQ(Find("\u00c4rger"), entry);
  EXPECT_EQ(Find("\u0416\u4e2d@"), entry);
  EXPECT_EQ(Find("\u00e4rger"), "");
  EXPECT_EQ(Find("\u0436"), "");
}

TEST_F(FindUsersTest, OutputGoesOnBehindCharactersOutsideTheCodePage) {
  profile_.AddSecondaryStore(L"\u4e2d@example.com", StorePath(L"a.qsf"));
  AddEmbedded(L"\U0001F600", *profile_.Find(L"\u4e2d@example.com"));
  Add(L"bob");
  EXPECT_EQ(Find("\"\""), Text({
                              "Email: \u4e2d@example.com",
                              "Type: QSF store",
                              "QSF: a.qsf",
                              "Embedded stores: \U0001F600@example.com",
                              " ",
                              "Email: \U0001F600@example.com",
                              "Type: Embedded store",
                              "Parent store: \u4e2d@example.com",
                              "Parent QSF: a.qsf",
                              " ",
                          }) + Shown("bob"));
}

// The command line.

class FindUsersUsageTest : public FindUsersTest, public ::testing::WithParamInterface<Words> {};

TEST_P(FindUsersUsageTest, IsShownAndMapiIsLeftAlone) {
  Add(L"ann");
  EXPECT_EQ(Run(GetParam()), FindUsersUsage());
  EXPECT_TRUE(Journal().empty());
}

INSTANTIATE_TEST_SUITE_P(Lines, FindUsersUsageTest,
                         ::testing::Values("-findUsers", "-findUsers -p Main", "-findUsers -e ann",
                                           "-findUsers -p Main -e", "-findUsers -e ann -p",
                                           "-findUsers -e -p Main", "-findUsers -p \"\" -e ann",
                                           // The switch behind -p is the profile's name.
                                           "-findUsers -p -e ann", "-findUsers -P Main -e ann",
                                           "-findUsers -p Main -E ann", "-findUsers -pMain -e ann",
                                           "-h -findUsers -p Main -e ann"));

TEST_F(FindUsersTest, VerboseUsageSaysThatItExits) {
  EXPECT_EQ(Run("-findUsers -v"), FindUsersUsage() + Text({"Exiting."}));
}

TEST_F(FindUsersTest, SwitchesMayComeInAnyOrder) {
  Add(L"ann");
  EXPECT_EQ(Run("-e ann -p Main -findUsers"), Shown("ann"));
  EXPECT_EQ(Run("-FINDUSERS -z stray -p Other -p Main -e ann"), Shown("ann"));
}

TEST_F(FindUsersTest, AProfileSwitchWithNothingBehindItChangesNothing) {
  Add(L"ann");
  EXPECT_EQ(Run("-findUsers -p Main -e ann -p"), Shown("ann"));
}

TEST_F(FindUsersTest, WhatFollowsTheProfileSwitchIsItsValueAndNoSwitch) {
  lab::Profile(L"-v").AddSecondaryStore(L"ann@example.com", StorePath(L"ann.qsf"));
  EXPECT_EQ(Run("-findUsers -p -v -e ann"), Shown("ann"));
}

TEST_F(FindUsersTest, VerboseShowsTheHandlerAndTheEnd) {
  Add(L"ann");
  EXPECT_EQ(Run("-findUsers -p Main -e ann -v"),
            Text({"The Control Handler is installed."}) + Shown("ann") + Text({"Exiting."}));
}

TEST_F(FindUsersTest, TheHandlerIsInstalledBeforeTheLoad) {
  EXPECT_EQ(Run("-findUsers -v -p Main -e ann"),
            Text({"The Control Handler is installed.",
                  "CStoreManager::LoadCache: AdminServices failed : 0x8004010f",
                  "FindUsers: storeManager LoadCache failed : 0x8004010f", "Exiting."}));
}

// What it leaves alone.

TEST_F(FindUsersTest, NobodyFoundPrintsNothing) {
  Add(L"ann");
  EXPECT_EQ(Find("nobody"), "");
}

TEST_F(FindUsersTest, OtherProgramsMayHaveMapiLoaded) {
  Add(L"ann");
  MapiHolder holder(L"outlook.exe", {L"MAPI32.DLL", L"OLMAPI32.DLL"});
  EXPECT_EQ(Find("ann"), Shown("ann"));
}

TEST_F(FindUsersTest, TheControllerServiceIsNotStarted) {
  SetController(lab::ControllerState::kStopped);
  Add(L"ann");
  EXPECT_EQ(Run("-findUsers -p Main -e ann -c"), Shown("ann"));
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
}

TEST_F(FindUsersTest, NobodyLogsOnAndNothingIsDeleted) {
  AddEmbedded(L"bob", Add(L"ann"));
  const std::string before = profile_.Describe();
  Find("\"\"");
  EXPECT_TRUE(Calls("MAPILogonEx").empty());
  EXPECT_TRUE(Calls("IMsgServiceAdmin::DeleteMsgService").empty());
  EXPECT_EQ(profile_.Describe(), before);
}

TEST_F(FindUsersTest, CtrlCDoesNotCutTheListingShort) {
  Add(L"ann");
  Faults().DelayNth("HrQueryAllRows@MsgServiceTable", 1, kTimeForCtrlC);
  RunningProgram program = StartAdmin("-findUsers -v -p Main -e ann");
  ASSERT_TRUE(program.WaitForOutput("The Control Handler is installed.\r\n"));
  ASSERT_TRUE(program.SendCtrlC());
  const RunResult result = program.Wait();
  EXPECT_EQ(result.exitCode, 0U);
  EXPECT_EQ(result.output, Text({"The Control Handler is installed.", "*User Break"}) +
                               Shown("ann") + Text({"Exiting."}));
}

// Failures.

TEST_F(FindUsersTest, MapiThatDoesNotStartEndsTheCommand) {
  Add(L"ann");
  Faults().FailEach("MAPIInitialize", 0x80004005);
  EXPECT_EQ(Find("ann"), Text({kNoMapi}));
  EXPECT_TRUE(Calls("MAPIUninitialize").empty());
}

TEST_F(FindUsersTest, ALoadThatFailsListsNothing) {
  Add(L"ann");
  Add(L"bob");
  Faults().FailNth("IMsgServiceAdmin::AdminProviders", 2, 0x80070005);
  EXPECT_EQ(Find("ann"), Text({"CStoreManager::LoadCache: AdminProviders failed : 0x80070005",
                               "FindUsers: storeManager LoadCache failed : 0x80070005"}));
  EXPECT_EQ(Calls("MAPIUninitialize").size(), 1U);
}

}  // namespace
}  // namespace e2e
