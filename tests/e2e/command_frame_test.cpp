// What all commands do around their own work: switches, MAPI's begin and end, the restart of the
// controller service.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <utility>
#include <vector>

#include "lab/common/installation.h"
#include "tests/e2e/command_lab_test.h"
#include "tests/e2e/support/child_process.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/usage_text.h"

namespace e2e {
namespace {

using lab::ControllerState;

const char kAgentsFailed[] = "AssignUsersToAgents: GetServers failed : 0x80070002";

class CommandFrameTest : public CommandLabTest {
 protected:
  // The profiles that the runs so far asked for.
  Strings Profiles() const { return ArgumentsOf("IProfAdmin::AdminServices", "profile"); }

  size_t Initialisations() const { return Calls("MAPIInitialize").size(); }
  size_t Uninitialisations() const { return Calls("MAPIUninitialize").size(); }
};

// Help instead of a run.

struct UsageCase : NamedCase {
  Words words;
  std::string usage;
};

class MissingValueTest : public CommandFrameTest,
                         public ::testing::WithParamInterface<UsageCase> {};

TEST_P(MissingValueTest, ShowsTheHelpAndTouchesNothing) {
  SetController(ControllerState::kStopped);
  EXPECT_EQ(Run(GetParam().words), GetParam().usage);
  EXPECT_FALSE(MapiWasTouched());
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
}

INSTANTIATE_TEST_SUITE_P(
    Lines, MissingValueTest,
    ::testing::Values(
        UsageCase{"CheckAlone", {L"-checkQsf"}, CheckQsfUsage()},
        UsageCase{"CheckLastProfile", {L"-checkQsf", L"-p"}, CheckQsfUsage()},
        UsageCase{"CheckEmptyProfile", {L"-checkQsf", L"-p", L"", L"-c"}, CheckQsfUsage()},
        UsageCase{"CheckOtherSwitches", {L"-checkQsf", L"-c", L"-e", L"ann"}, CheckQsfUsage()},
        UsageCase{"CheckUpperCaseSwitch", {L"-checkQsf", L"-P", L"Main"}, CheckQsfUsage()},
        UsageCase{"CheckNoSwitch", {L"-checkQsf", L"Main"}, CheckQsfUsage()},
        UsageCase{"CheckJoinedValue", {L"-checkQsf", L"-pMain"}, CheckQsfUsage()},
        UsageCase{"CheckEqualsSign", {L"-checkQsf", L"-p=Main"}, CheckQsfUsage()},
        UsageCase{"CheckListTakesTheName", {L"-checkQsf", L"-e", L"p", L"Main"}, CheckQsfUsage()},
        UsageCase{"CheckEmptyThenMissing", {L"-checkQsf", L"-p", L"", L"-p"}, CheckQsfUsage()},
        UsageCase{"CheckHelp", {L"-checkQsf", L"-p", L"Main", L"-h"}, CheckQsfUsage()},
        UsageCase{"CompactAlone", {L"-compactQsf"}, CompactQsfUsage()},
        UsageCase{"CompactLastProfile", {L"-compactQsf", L"-c", L"-p"}, CompactQsfUsage()},
        UsageCase{"CompactEmptyProfile", {L"-compactQsf", L"-p", L""}, CompactQsfUsage()},
        UsageCase{"AssignAlone", {L"-assignAgents"}, AssignAgentsUsage()},
        UsageCase{"AssignLastProfile", {L"-assignAgents", L"-b", L"1", L"-p"}, AssignAgentsUsage()},
        UsageCase{"AssignProfileAsNumber",
                  {L"-assignAgents", L"-b", L"-p", L"Main"},
                  AssignAgentsUsage()},
        UsageCase{"AssignEmptyProfile", {L"-assignAgents", L"-p", L""}, AssignAgentsUsage()},
        UsageCase{"FindAlone", {L"-findUsers"}, FindUsersUsage()},
        UsageCase{"FindNoList", {L"-findUsers", L"-p", L"Main"}, FindUsersUsage()},
        UsageCase{"FindEmptyList", {L"-findUsers", L"-p", L"Main", L"-e"}, FindUsersUsage()},
        UsageCase{"FindListEndsAtOnce", {L"-findUsers", L"-e", L"-p", L"Main"}, FindUsersUsage()},
        UsageCase{"FindNoProfile", {L"-findUsers", L"-e", L"ann"}, FindUsersUsage()},
        UsageCase{"AgentsAlone", {L"-listAgents"}, ListAgentsUsage()},
        UsageCase{"AgentsLastServer", {L"-listAgents", L"-s"}, ListAgentsUsage()},
        UsageCase{
            "AgentsLastServerAgain", {L"-listAgents", L"-s", L"BES", L"-s"}, ListAgentsUsage()},
        UsageCase{"AgentsEmptyServer", {L"-listAgents", L"-s", L""}, ListAgentsUsage()},
        UsageCase{"AgentsUpperCaseSwitch", {L"-listAgents", L"-S", L"BES"}, ListAgentsUsage()}),
    kByName);

TEST_F(CommandFrameTest, VerboseHelpOfACommandSaysThatItExits) {
  const std::string exiting = Text({"Exiting."});
  EXPECT_EQ(Run({L"-checkQsf", L"-v"}), CheckQsfUsage() + exiting);
  EXPECT_EQ(Run({L"-v", L"-compactQsf"}), CompactQsfUsage() + exiting);
  EXPECT_EQ(Run({L"-assignAgents", L"-v", L"-p"}), AssignAgentsUsage() + exiting);
  EXPECT_EQ(Run({L"-findUsers", L"-p", L"Main", L"-v"}), FindUsersUsage() + exiting);
  EXPECT_EQ(Run({L"-listAgents", L"-v"}), ListAgentsUsage() + exiting);
}

TEST_F(CommandFrameTest, OtherSpellingsOfVerboseAreNone) {
  EXPECT_EQ(Run({L"-checkQsf", L"-V", L"-verbose", L"/v"}), CheckQsfUsage());
}

// The profile's name.

TEST_F(CommandFrameTest, AValueIsTakenAsItStands) {
  EXPECT_EQ(Run({L"-checkQsf", L"-p", L"-v"}), NoProfile("CheckQsf") + Text({"Done"}));
  EXPECT_EQ(Run({L"-compactQsf", L"-p", L"-c"}), NoProfile("CompactQsf"));
  EXPECT_EQ(Run({L"-findUsers", L"-p", L"-e", L"-e", L"ann"}), NoProfile("FindUsers"));
  EXPECT_EQ(Run({L"-compactQsf", L"-p", L" two words "}), NoProfile("CompactQsf"));
  EXPECT_EQ(Profiles(), (Strings{"-v", "-c", "-e", " two words "}));
}

TEST_F(CommandFrameTest, OfSeveralValuesTheLastIsTaken) {
  Run({L"-compactQsf", L"-p", L"First", L"-p", L"Second"});
  EXPECT_EQ(Profiles(), Strings{"Second"});
}

TEST_F(CommandFrameTest, AnEarlierValueStaysWhenALaterOneIsMissing) {
  Run({L"-compactQsf", L"-p", L"First", L"-p"});
  EXPECT_EQ(Profiles(), Strings{"First"});
}

TEST_F(CommandFrameTest, SwitchesMayStandBeforeTheCommand) {
  EXPECT_EQ(Run({L"-v", L"-p", L"Nobody", L"-c", L"-findUsers", L"-e", L"ann"}),
            Text({kHandlerInstalled}) + NoProfile("FindUsers") + Text({"Exiting."}));
}

TEST_F(CommandFrameTest, UnknownArgumentsAreIgnored) {
  EXPECT_EQ(Run({L"-compactQsf", L"stray", L"-x", L"", L"-pp", L"-p", L"Nobody", L"-", L"--"}),
            NoProfile("CompactQsf"));
  EXPECT_EQ(Run({L"-listServers", L"-x", L"stray", L"-C", L""}), NoDatabase());
}

// A profile that nobody has.

TEST_F(CommandFrameTest, AnUnknownProfileIsToldByEveryCommand) {
  EXPECT_EQ(Run({L"-checkQsf", L"-p", L"Nobody"}), NoProfile("CheckQsf") + Text({"Done"}));
  EXPECT_EQ(Run({L"-compactQsf", L"-p", L"Nobody"}), NoProfile("CompactQsf"));
  EXPECT_EQ(Run({L"-findUsers", L"-p", L"Nobody", L"-e", L"ann"}), NoProfile("FindUsers"));
  EXPECT_EQ(Run({L"-scanQsf", L"-p", L"Nobody"}),
            Text({"No .qsf files associated with [Nobody] profile"}));
}

// Long arguments.

TEST_F(CommandFrameTest, LongProfileNamesAreUnknownProfiles) {
  const std::wstring name(5000, L'p');
  EXPECT_EQ(Run({L"-checkQsf", L"-p", name, L"-c"}), NoProfile("CheckQsf") + Text({"Done"}));
  EXPECT_EQ(Run({L"-compactQsf", L"-p", name}), NoProfile("CompactQsf"));
  EXPECT_EQ(Run({L"-findUsers", L"-p", name, L"-e", L"ann"}), NoProfile("FindUsers"));
  EXPECT_EQ(Run({L"-assignAgents", L"-p", name}), Text({"Base Agentid=200", "Number of Agents=2"}) +
                                                      NoDatabase() + Text({kAgentsFailed}));
  EXPECT_EQ(Profiles(), Strings(3, std::string(5000, 'p')));
}

TEST_F(CommandFrameTest, LongAddressesFindNobody) {
  lab::Profile(L"Main").AddSecondaryStore(L"ann@example.com", StorePath(L"ann.qsf"));
  const std::wstring address = std::wstring(5000, L'a') + L"@example.com";
  EXPECT_EQ(Run({L"-findUsers", L"-p", L"Main", L"-e", address}), "");
  EXPECT_EQ(Run({L"-compactQsf", L"-p", L"Main", L"-e", address}), "");
}

TEST_F(CommandFrameTest, AListMayBeLong) {
  lab::Profile(L"Main").AddSecondaryStore(L"ann@example.com", StorePath(L"ann.qsf"));
  const Words nobody(1000, L"nobody@example.com");
  EXPECT_EQ(Run(Words{L"-findUsers", L"-p", L"Main", L"-e"} + nobody), "");
  EXPECT_EQ(Lines(Run(Words{L"-findUsers", L"-p", L"Main", L"-e"} + nobody + Words{L"ann"})).at(0),
            "Email: ann@example.com");
}

TEST_F(CommandFrameTest, ALongServerNameIsAskedFor) {
  EXPECT_EQ(Run({L"-listAgents", L"-s", std::wstring(5000, L's')}),
            NoDatabase() + Text({"qrvAdminListAgents: GetServers failed : 0x80070002"}));
}

// The list of addresses. Without a default store the check ends at once after its count.

class AddressListTest : public CommandFrameTest {
 protected:
  void SetUp() override {
    CommandFrameTest::SetUp();
    const lab::Profile profile(L"Main");
    for (const wchar_t* name : {L"first", L"second", L"third"}) {
      profile.AddSecondaryStore(name + std::wstring(L"@example.com"),
                                StorePath(name + std::wstring(L".qsf")));
    }
  }

  // The output of a check, as it is when it takes `count` stores.
  static std::string Checked(int count) {
    return Text({"CheckQsf: Checking " + std::to_string(count) + " MAPI stores...",
                 "CStoreManager::LogonToStores: Failed to find default store",
                 "CheckQsf: LogonToStores failed : 0x8004010f", "Done"});
  }

  std::string Check(const Words& more) { return Run(Words{L"-checkQsf", L"-p", L"Main"} + more); }
};

TEST_F(AddressListTest, EndsAtTheNextSwitchWhichIsRecognised) {
  EXPECT_EQ(Check({L"-e", L"first", L"second", L"-v"}),
            Text({kHandlerInstalled}) + Checked(2) + Text({"Exiting."}));
}

TEST_F(AddressListTest, EndsAtAnythingThatBeginsWithADash) {
  EXPECT_EQ(Check({L"-e", L"first", L"-", L"second"}), Checked(1));
  EXPECT_EQ(Check({L"-e", L"first", L"-second", L"third"}), Checked(1));
}

TEST_F(AddressListTest, EndsWithTheLine) {
  EXPECT_EQ(Check({L"-e", L"first", L"third"}), Checked(2));
}

TEST_F(AddressListTest, WithoutElementsRestrictsNothing) {
  EXPECT_EQ(Check({}), Checked(3));
  EXPECT_EQ(Check({L"-e"}), Checked(3));
  EXPECT_EQ(Check({L"-e", L"-c"}), Checked(3));
}

TEST_F(AddressListTest, MayHoldAnEmptyElement) {
  EXPECT_EQ(Check({L"-e", L"nobody", L""}), Checked(3));
}

TEST_F(AddressListTest, GoesOnAtTheNextListSwitch) {
  EXPECT_EQ(Check({L"-e", L"first", L"-c", L"-e", L"second"}), Checked(2));
}

TEST_F(AddressListTest, OfAnotherSpellingIsNone) {
  EXPECT_EQ(Check({L"-E", L"first"}), Checked(3));
  EXPECT_EQ(Check({L"-efirst"}), Checked(3));
}

TEST_F(AddressListTest, TakesAValueThatLooksLikeAProfile) {
  EXPECT_EQ(Run({L"-checkQsf", L"-e", L"first", L"Main", L"-p", L"Main"}), Checked(1));
}

// The numbers of -assignAgents.

struct NumberCase : NamedCase {
  Words words;
  int base;
  int count;
};

class NumberTest : public CommandFrameTest, public ::testing::WithParamInterface<NumberCase> {};

TEST_P(NumberTest, IsReadWithItsLimits) {
  EXPECT_EQ(Run(Words{L"-assignAgents", L"-p", L"Main"} + GetParam().words),
            Text({"Base Agentid=" + std::to_string(GetParam().base),
                  "Number of Agents=" + std::to_string(GetParam().count)}) +
                NoDatabase() + Text({kAgentsFailed}));
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, NumberTest,
    ::testing::Values(NumberCase{"None", {}, 200, 2},
                      NumberCase{"Both", {L"-b", L"10", L"-n", L"20"}, 10, 20},
                      NumberCase{"BaseAtTheLimit", {L"-b", L"400"}, 400, 2},
                      NumberCase{"BaseAboveTheLimit", {L"-b", L"401"}, 200, 2},
                      NumberCase{"BaseZero", {L"-b", L"0"}, 0, 2},
                      NumberCase{"BaseNegative", {L"-b", L"-5"}, 200, 2},
                      NumberCase{"CountAtTheLimit", {L"-n", L"100"}, 200, 100},
                      NumberCase{"CountAboveTheLimit", {L"-n", L"101"}, 200, 2},
                      NumberCase{"CountZero", {L"-n", L"0"}, 200, 0},
                      NumberCase{"CountNegative", {L"-n", L"-1"}, 200, 2},
                      NumberCase{"CountAtTheBasesLimit", {L"-n", L"400"}, 200, 2},
                      NumberCase{"NoNumbers", {L"-b", L"abc", L"-n", L""}, 0, 0},
                      NumberCase{"DigitsBeforeLetters", {L"-b", L"12abc", L"-n", L"3.9"}, 12, 3},
                      NumberCase{"BlanksAndSign", {L"-b", L" 7", L"-n", L"+8"}, 7, 8},
                      NumberCase{"NoHexadecimal", {L"-b", L"0x10"}, 0, 2},
                      NumberCase{"SwitchAsValue", {L"-b", L"-n", L"5"}, 0, 2},
                      NumberCase{"MissingAtTheEnd", {L"-b", L"7", L"-n"}, 7, 2},
                      NumberCase{"TheLastOfTwo", {L"-b", L"7", L"-b", L"8"}, 8, 2},
                      NumberCase{"TheLastOfTwoIsTooBig", {L"-b", L"7", L"-b", L"999"}, 200, 2},
                      NumberCase{"UpperCaseSwitches", {L"-B", L"7", L"-N", L"8"}, 200, 2},
                      NumberCase{"AddressesBehindTheFlag", {L"-e", L"ann", L"-b", L"7"}, 7, 2},
                      NumberCase{"ManyDigits", {L"-b", std::wstring(5000, L'0') + L"9"}, 9, 2}),
    kByName);

// MAPI's begin and end.

std::vector<LineCase> MapiCommands() {
  return ExclusiveCommands() +
         std::vector<LineCase>{{"FindUsers", {L"-findUsers", L"-p", L"Main", L"-e", L"ann"}}};
}

class MapiCommandTest : public CommandFrameTest, public ::testing::WithParamInterface<LineCase> {};

TEST_P(MapiCommandTest, BeginsAndEndsMapiOnce) {
  Run(GetParam().words);
  const std::vector<lab::JournalEntry> journal = Journal();
  ASSERT_FALSE(journal.empty());
  EXPECT_EQ(journal.front().call, "MAPIInitialize");
  EXPECT_EQ(journal.back().call, "MAPIUninitialize");
  EXPECT_EQ(Initialisations(), 1U);
  EXPECT_EQ(Uninitialisations(), 1U);
}

TEST_P(MapiCommandTest, EndsWhenMapiDoesNotBegin) {
  SetController(ControllerState::kStopped);
  Faults().FailEach("MAPIInitialize", 0x80040111);
  EXPECT_EQ(Run(GetParam().words), Text({kNoMapi}));
  EXPECT_EQ(Initialisations(), 1U);
  EXPECT_EQ(Journal().size(), 1U);
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
}

TEST_P(MapiCommandTest, VerboseEndsWhenMapiDoesNotBegin) {
  Faults().FailEach("MAPIInitialize", 0x80040111);
  EXPECT_EQ(Run(GetParam().words + Words{L"-v"}), Text({kNoMapi, "Exiting."}));
}

INSTANTIATE_TEST_SUITE_P(Commands, MapiCommandTest, ::testing::ValuesIn(MapiCommands()), kByName);

TEST_F(CommandFrameTest, TheScanUtilitysExitCodeTellsThatMapiDoesNotBegin) {
  Faults().FailEach("MAPIInitialize", 0x80040111);
  RunOptions options;
  options.programName = L"qsfscan.exe";
  const RunResult result = RunAdmin({L"-p", L"Main"}, options);
  EXPECT_EQ(result.output, Text({kNoMapi}));
  EXPECT_EQ(result.exitCode, 1U);
}

TEST_F(CommandFrameTest, DatabaseCommandsDoWithoutMapi) {
  Run({L"-listServers"});
  Run({L"-listAgents", L"-s", L"BES"});
  EXPECT_FALSE(MapiWasTouched());
}

// The restart of the controller service.

TEST_F(CommandFrameTest, AFailedCheckRestartsNothing) {
  SetController(ControllerState::kStopped);
  EXPECT_EQ(Run({L"-checkQsf", L"-p", L"Nobody", L"-c"}), NoProfile("CheckQsf") + Text({"Done"}));
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
}

TEST_F(CommandFrameTest, ASoundCheckRestarts) {
  const lab::Profile profile(L"Main");
  profile.AddRootStore(L"bes@example.com", StorePath(L"root.qsf"));
  SetController(ControllerState::kStopped);
  EXPECT_EQ(Run({L"-checkQsf", L"-p", L"Main", L"-c", L"-e", L"nobody", L"-v"}),
            Text({kHandlerInstalled, "CheckQsf: Checking 0 MAPI stores...", "All stores are OK",
                  "Shutting down stores...", kStartingController, "Done", "Exiting."}));
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
}

TEST_F(CommandFrameTest, CompactionRestartsWhateverItsResult) {
  const lab::Profile profile(L"Main");
  profile.AddSecondaryStore(L"ann@example.com", StorePath(L"ann.qsf"));
  const std::string restart = Text({kNoController, kStartingController});
  EXPECT_EQ(Run({L"-compactQsf", L"-p", L"Main", L"-c", L"-e", L"nobody"}), restart);
  EXPECT_EQ(Run({L"-compactQsf", L"-p", L"Nobody", L"-c"}), NoProfile("CompactQsf") + restart);
  EXPECT_EQ(Run({L"-compactQsf", L"-p", L"Nobody", L"-C"}), NoProfile("CompactQsf"));
}

TEST_F(CommandFrameTest, AssigningRestartsWhateverItsResult) {
  EXPECT_EQ(Run({L"-assignAgents", L"-p", L"Main", L"-e", L"-c"}),
            Text({"Base Agentid=200", "Number of Agents=2"}) + NoDatabase() +
                Text({kAgentsFailed, kNoController, kStartingController}));
}

TEST_F(CommandFrameTest, PurgingRestartsOnlyWhenItDeletes) {
  EXPECT_EQ(Run({L"-purgeQsf", L"-c"}), "");
  EXPECT_EQ(Run({L"-purgeQsf", L"-c", L"-F"}), "");
  EXPECT_EQ(Run({L"-purgeQsf", L"-f"}), "");
  EXPECT_EQ(Run({L"-purgeQsf", L"-c", L"-f"}), Text({kNoController, kStartingController}));
}

TEST_F(CommandFrameTest, AFailedPurgeRestartsToo) {
  Faults().FailEach("MAPIAdminProfiles", 0x80070005);
  EXPECT_EQ(Run({L"-purgeQsf", L"-c", L"-f"}),
            Text({"PurgeQsf: MAPIAdminProfiles failed : 0x80070005", kNoController,
                  kStartingController}));
}

TEST_F(CommandFrameTest, FindingUsersAndListingRestartNothing) {
  EXPECT_EQ(Run({L"-findUsers", L"-p", L"Nobody", L"-c", L"-e", L"ann"}), NoProfile("FindUsers"));
  EXPECT_EQ(Run({L"-listServers", L"-c"}), NoDatabase());
}

// The order of what happens, seen through a pipe that nobody reads: a program stands still at the
// line that it writes.

class SlowOutputTest : public CommandFrameTest {
 protected:
  void Start(const Words& arguments) {
    PrepareToStartPrograms();
    HANDLE reader = nullptr;
    HANDLE writer = nullptr;
    ASSERT_TRUE(CreatePipe(&reader, &writer, nullptr, 1));
    reader_ = Handle(reader);
    const ChildStreams streams = {OpenNull(), Handle(writer), OpenNull()};
    child_ = StartChild(arguments, Prepare({}), streams);
    ASSERT_TRUE(child_.process);
  }

  // Reads exactly `expected`; the program then stands still at its next line.
  void Read(const std::string& expected) {
    std::string text(expected.size(), '\0');
    for (size_t read = 0; read < text.size();) {
      DWORD bytes = 0;
      ASSERT_TRUE(ReadFile(reader_.get(), &text[read], static_cast<DWORD>(text.size() - read),
                           &bytes, nullptr));
      read += bytes;
    }
    EXPECT_EQ(text, expected);
  }

  // Whether MAPI was ended within some time.
  bool MapiEnds(int milliseconds) const {
    for (; milliseconds > 0 && Uninitialisations() == 0; milliseconds -= 50) Sleep(50);
    return Uninitialisations() != 0;
  }

  void ExpectEnd() {
    EXPECT_EQ(WaitForSingleObject(child_.process.get(), 20000), DWORD{WAIT_OBJECT_0});
  }

 private:
  static Handle OpenNull() {
    return TakeFileHandle(CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                      nullptr));
  }

  Handle reader_;
  ChildProcess child_;
};

TEST_F(SlowOutputTest, TheServiceIsStartedThenToldThenMapiEnds) {
  SetController(ControllerState::kStopped);
  Start({L"-purgeQsf", L"-f", L"-c"});
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
  EXPECT_FALSE(MapiEnds(500));
  Read(Text({kStartingController}));
  EXPECT_TRUE(MapiEnds(10000));
  ExpectEnd();
}

TEST_F(SlowOutputTest, DoneIsToldAfterTheEndOfMapi) {
  Start({L"-checkQsf", L"-p", L"Nobody"});
  Read(Text({"CStoreManager::LoadCache: AdminServices failed : 0x8004010f"}));
  EXPECT_FALSE(MapiEnds(300));
  Read(Text({"CheckQsf: storeManager LoadCache failed : 0x8004010f"}));
  EXPECT_TRUE(MapiEnds(10000));
  Read(Text({"Done"}));
  ExpectEnd();
}

}  // namespace
}  // namespace e2e
