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
        UsageCase{"CheckAlone", "-checkQsf", CheckQsfUsage()},
        UsageCase{"CheckLastProfile", "-checkQsf -p", CheckQsfUsage()},
        UsageCase{"CheckEmptyProfile", "-checkQsf -p \"\" -c", CheckQsfUsage()},
        UsageCase{"CheckOtherSwitches", "-checkQsf -c -e ann", CheckQsfUsage()},
        UsageCase{"CheckUpperCaseSwitch", "-checkQsf -P Main", CheckQsfUsage()},
        UsageCase{"CheckNoSwitch", "-checkQsf Main", CheckQsfUsage()},
        UsageCase{"CheckJoinedValue", "-checkQsf -pMain", CheckQsfUsage()},
        UsageCase{"CheckEqualsSign", "-checkQsf -p=Main", CheckQsfUsage()},
        UsageCase{"CheckListTakesTheName", "-checkQsf -e p Main", CheckQsfUsage()},
        UsageCase{"CheckEmptyThenMissing", "-checkQsf -p \"\" -p", CheckQsfUsage()},
        UsageCase{"CheckHelp", "-checkQsf -p Main -h", CheckQsfUsage()},
        UsageCase{"CompactAlone", "-compactQsf", CompactQsfUsage()},
        UsageCase{"CompactLastProfile", "-compactQsf -c -p", CompactQsfUsage()},
        UsageCase{"CompactEmptyProfile", "-compactQsf -p \"\"", CompactQsfUsage()},
        UsageCase{"AssignAlone", "-assignAgents", AssignAgentsUsage()},
        UsageCase{"AssignLastProfile", "-assignAgents -b 1 -p", AssignAgentsUsage()},
        UsageCase{"AssignProfileAsNumber", "-assignAgents -b -p Main", AssignAgentsUsage()},
        UsageCase{"AssignEmptyProfile", "-assignAgents -p \"\"", AssignAgentsUsage()},
        UsageCase{"FindAlone", "-findUsers", FindUsersUsage()},
        UsageCase{"FindNoList", "-findUsers -p Main", FindUsersUsage()},
        UsageCase{"FindEmptyList", "-findUsers -p Main -e", FindUsersUsage()},
        UsageCase{"FindListEndsAtOnce", "-findUsers -e -p Main", FindUsersUsage()},
        UsageCase{"FindNoProfile", "-findUsers -e ann", FindUsersUsage()},
        UsageCase{"AgentsAlone", "-listAgents", ListAgentsUsage()},
        UsageCase{"AgentsLastServer", "-listAgents -s", ListAgentsUsage()},
        UsageCase{"AgentsLastServerAgain", "-listAgents -s BES -s", ListAgentsUsage()},
        UsageCase{"AgentsEmptyServer", "-listAgents -s \"\"", ListAgentsUsage()},
        UsageCase{"AgentsUpperCaseSwitch", "-listAgents -S BES", ListAgentsUsage()}),
    kByName);

TEST_F(CommandFrameTest, VerboseHelpOfACommandSaysThatItExits) {
  const std::string exiting = Text({"Exiting."});
  EXPECT_EQ(Run("-checkQsf -v"), CheckQsfUsage() + exiting);
  EXPECT_EQ(Run("-v -compactQsf"), CompactQsfUsage() + exiting);
  EXPECT_EQ(Run("-assignAgents -v -p"), AssignAgentsUsage() + exiting);
  EXPECT_EQ(Run("-findUsers -p Main -v"), FindUsersUsage() + exiting);
  EXPECT_EQ(Run("-listAgents -v"), ListAgentsUsage() + exiting);
}

TEST_F(CommandFrameTest, OtherSpellingsOfVerboseAreNone) {
  EXPECT_EQ(Run("-checkQsf -V -verbose /v"), CheckQsfUsage());
}

// The profile's name.

TEST_F(CommandFrameTest, AValueIsTakenAsItStands) {
  EXPECT_EQ(Run("-checkQsf -p -v"), NoProfile("CheckQsf") + Text({"Done"}));
  EXPECT_EQ(Run("-compactQsf -p -c"), NoProfile("CompactQsf"));
  EXPECT_EQ(Run("-findUsers -p -e -e ann"), NoProfile("FindUsers"));
  EXPECT_EQ(Run({L"-compactQsf", L"-p", L" two words "}), NoProfile("CompactQsf"));
  EXPECT_EQ(Profiles(), (Strings{"-v", "-c", "-e", " two words "}));
}

TEST_F(CommandFrameTest, OfSeveralValuesTheLastIsTaken) {
  Run("-compactQsf -p First -p Second");
  EXPECT_EQ(Profiles(), Strings{"Second"});
}

TEST_F(CommandFrameTest, AnEarlierValueStaysWhenALaterOneIsMissing) {
  Run("-compactQsf -p First -p");
  EXPECT_EQ(Profiles(), Strings{"First"});
}

TEST_F(CommandFrameTest, SwitchesMayStandBeforeTheCommand) {
  EXPECT_EQ(Run("-v -p Nobody -c -findUsers -e ann"),
            Text({kHandlerInstalled}) + NoProfile("FindUsers") + Text({"Exiting."}));
}

TEST_F(CommandFrameTest, UnknownArgumentsAreIgnored) {
  EXPECT_EQ(Run("-compactQsf stray -x \"\" -pp -p Nobody - --"), NoProfile("CompactQsf"));
  EXPECT_EQ(Run("-listServers -x stray -C \"\""), NoDatabase());
}

// A profile that nobody has.

TEST_F(CommandFrameTest, AnUnknownProfileIsToldByEveryCommand) {
  EXPECT_EQ(Run("-checkQsf -p Nobody"), NoProfile("CheckQsf") + Text({"Done"}));
  EXPECT_EQ(Run("-compactQsf -p Nobody"), NoProfile("CompactQsf"));
  EXPECT_EQ(Run("-findUsers -p Nobody -e ann"), NoProfile("FindUsers"));
  EXPECT_EQ(Run("-scanQsf -p Nobody"), Text({"No .qsf files associated with [Nobody] profile"}));
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
  Add(L"ann");
  const std::wstring address = std::wstring(5000, L'a') + L"@example.com";
  EXPECT_EQ(Run({L"-findUsers", L"-p", L"Main", L"-e", address}), "");
  EXPECT_EQ(Run({L"-compactQsf", L"-p", L"Main", L"-e", address}), "");
}

TEST_F(CommandFrameTest, AListMayBeLong) {
  Add(L"ann");
  const Words nobody(1000, L"nobody@example.com");
  EXPECT_EQ(Run("-findUsers -p Main -e" + nobody), "");
  EXPECT_EQ(Lines(Run("-findUsers -p Main -e" + nobody + "ann")).at(0), "Email: ann@example.com");
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
    for (const wchar_t* name : {L"first", L"second", L"third"}) Add(name);
  }

  // The output of a check, as it is when it takes `count` stores.
  static std::string Checked(int count) {
    return Text({"CheckQsf: Checking " + std::to_string(count) + " MAPI stores...",
                 "CStoreManager::LogonToStores: Failed to find default store",
                 "CheckQsf: LogonToStores failed : 0x8004010f", "Done"});
  }

  std::string Check(const Words& more) { return Run("-checkQsf -p Main" + more); }
};

TEST_F(AddressListTest, EndsAtTheNextSwitchWhichIsRecognised) {
  EXPECT_EQ(Check("-e first second -v"),
            Text({kHandlerInstalled}) + Checked(2) + Text({"Exiting."}));
}

TEST_F(AddressListTest, EndsAtAnythingThatBeginsWithADash) {
  EXPECT_EQ(Check("-e first - second"), Checked(1));
  EXPECT_EQ(Check("-e first -second third"), Checked(1));
}

TEST_F(AddressListTest, EndsWithTheLine) { EXPECT_EQ(Check("-e first third"), Checked(2)); }

TEST_F(AddressListTest, WithoutElementsRestrictsNothing) {
  EXPECT_EQ(Check({}), Checked(3));
  EXPECT_EQ(Check("-e"), Checked(3));
  EXPECT_EQ(Check("-e -c"), Checked(3));
}

TEST_F(AddressListTest, MayHoldAnEmptyElement) { EXPECT_EQ(Check("-e nobody \"\""), Checked(3)); }

TEST_F(AddressListTest, GoesOnAtTheNextListSwitch) {
  EXPECT_EQ(Check("-e first -c -e second"), Checked(2));
}

TEST_F(AddressListTest, OfAnotherSpellingIsNone) {
  EXPECT_EQ(Check("-E first"), Checked(3));
  EXPECT_EQ(Check("-efirst"), Checked(3));
}

TEST_F(AddressListTest, TakesAValueThatLooksLikeAProfile) {
  EXPECT_EQ(Run("-checkQsf -e first Main -p Main"), Checked(1));
}

// The numbers of -assignAgents.

struct NumberCase : NamedCase {
  Words words;
  int base;
  int count;
};

class NumberTest : public CommandFrameTest, public ::testing::WithParamInterface<NumberCase> {};

TEST_P(NumberTest, IsReadWithItsLimits) {
  EXPECT_EQ(Run("-assignAgents -p Main" + GetParam().words),
            Text({"Base Agentid=" + std::to_string(GetParam().base),
                  "Number of Agents=" + std::to_string(GetParam().count)}) +
                NoDatabase() + Text({kAgentsFailed}));
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, NumberTest,
    ::testing::Values(
        NumberCase{"None", {}, 200, 2}, NumberCase{"Both", "-b 10 -n 20", 10, 20},
        NumberCase{"BaseAtTheLimit", "-b 400", 400, 2},
        NumberCase{"BaseAboveTheLimit", "-b 401", 200, 2}, NumberCase{"BaseZero", "-b 0", 0, 2},
        NumberCase{"BaseNegative", "-b -5", 200, 2},
        NumberCase{"CountAtTheLimit", "-n 100", 200, 100},
        NumberCase{"CountAboveTheLimit", "-n 101", 200, 2}, NumberCase{"CountZero", "-n 0", 200, 0},
        NumberCase{"CountNegative", "-n -1", 200, 2},
        NumberCase{"CountAtTheBasesLimit", "-n 400", 200, 2},
        NumberCase{"NoNumbers", "-b abc -n \"\"", 0, 0},
        NumberCase{"DigitsBeforeLetters", "-b 12abc -n 3.9", 12, 3},
        NumberCase{"BlanksAndSign", {L"-b", L" 7", L"-n", L"+8"}, 7, 8},
        NumberCase{"NoHexadecimal", "-b 0x10", 0, 2}, NumberCase{"SwitchAsValue", "-b -n 5", 0, 2},
        NumberCase{"MissingAtTheEnd", "-b 7 -n", 7, 2},
        NumberCase{"TheLastOfTwo", "-b 7 -b 8", 8, 2},
        NumberCase{"TheLastOfTwoIsTooBig", "-b 7 -b 999", 200, 2},
        NumberCase{"UpperCaseSwitches", "-B 7 -N 8", 200, 2},
        NumberCase{"AddressesBehindTheFlag", "-e ann -b 7", 7, 2},
        NumberCase{"ManyDigits", {L"-b", std::wstring(5000, L'0') + L"9"}, 9, 2}),
    kByName);

// MAPI's begin and end.

std::vector<LineCase> MapiCommands() {
  return ExclusiveCommands() + std::vector<LineCase>{{"FindUsers", "-findUsers -p Main -e ann"}};
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
  EXPECT_EQ(Run(GetParam().words + "-v"), Text({kNoMapi, "Exiting."}));
}

INSTANTIATE_TEST_SUITE_P(Commands, MapiCommandTest, ::testing::ValuesIn(MapiCommands()), kByName);

TEST_F(CommandFrameTest, TheScanUtilitysExitCodeTellsThatMapiDoesNotBegin) {
  Faults().FailEach("MAPIInitialize", 0x80040111);
  const RunResult result = RunAdmin("-p Main", {.programName = L"qsfscan.exe"});
  EXPECT_EQ(result.output, Text({kNoMapi}));
  EXPECT_EQ(result.exitCode, 1U);
}

TEST_F(CommandFrameTest, DatabaseCommandsDoWithoutMapi) {
  Run("-listServers");
  Run("-listAgents -s BES");
  EXPECT_FALSE(MapiWasTouched());
}

// The restart of the controller service.

TEST_F(CommandFrameTest, AFailedCheckRestartsNothing) {
  SetController(ControllerState::kStopped);
  EXPECT_EQ(Run("-checkQsf -p Nobody -c"), NoProfile("CheckQsf") + Text({"Done"}));
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
}

TEST_F(CommandFrameTest, ASoundCheckRestarts) {
  AddRoot();
  SetController(ControllerState::kStopped);
  EXPECT_EQ(Run("-checkQsf -p Main -c -e nobody -v"),
            Text({kHandlerInstalled, "CheckQsf: Checking 0 MAPI stores...", "All stores are OK",
                  "Shutting down stores...", kStartingController, "Done", "Exiting."}));
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
}

TEST_F(CommandFrameTest, CompactionRestartsWhateverItsResult) {
  Add(L"ann");
  const std::string restart = Text({kNoController, kStartingController});
  EXPECT_EQ(Run("-compactQsf -p Main -c -e nobody"), restart);
  EXPECT_EQ(Run("-compactQsf -p Nobody -c"), NoProfile("CompactQsf") + restart);
  EXPECT_EQ(Run("-compactQsf -p Nobody -C"), NoProfile("CompactQsf"));
}

TEST_F(CommandFrameTest, AssigningRestartsWhateverItsResult) {
  EXPECT_EQ(Run("-assignAgents -p Main -e -c"),
            Text({"Base Agentid=200", "Number of Agents=2"}) + NoDatabase() +
                Text({kAgentsFailed, kNoController, kStartingController}));
}

TEST_F(CommandFrameTest, PurgingRestartsOnlyWhenItDeletes) {
  EXPECT_EQ(Run("-purgeQsf -c"), "");
  EXPECT_EQ(Run("-purgeQsf -c -F"), "");
  EXPECT_EQ(Run("-purgeQsf -f"), "");
  EXPECT_EQ(Run("-purgeQsf -c -f"), Text({kNoController, kStartingController}));
}

TEST_F(CommandFrameTest, AFailedPurgeRestartsToo) {
  Faults().FailEach("MAPIAdminProfiles", 0x80070005);
  EXPECT_EQ(Run("-purgeQsf -c -f"), Text({"PurgeQsf: MAPIAdminProfiles failed : 0x80070005",
                                          kNoController, kStartingController}));
}

TEST_F(CommandFrameTest, FindingUsersAndListingRestartNothing) {
  EXPECT_EQ(Run("-findUsers -p Nobody -c -e ann"), NoProfile("FindUsers"));
  EXPECT_EQ(Run("-listServers -c"), NoDatabase());
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
    reader_ = platform::KernelHandle(reader);
    const ChildStreams streams = {OpenNull(), platform::KernelHandle(writer), OpenNull()};
    child_ = StartChild(arguments, Prepare({}), streams);
    ASSERT_TRUE(child_.process);
  }

  // Reads exactly `expected`; the program then stands still at its next line.
  void Read(const std::string& expected) {
    std::string text(expected.size(), '\0');
    for (size_t read = 0; read < text.size();) {
      DWORD bytes = 0;
      ASSERT_TRUE(ReadFile(reader_.Get(), &text[read], static_cast<DWORD>(text.size() - read),
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
    EXPECT_EQ(WaitForSingleObject(child_.process.Get(), 20000), DWORD{WAIT_OBJECT_0});
  }

 private:
  static platform::KernelHandle OpenNull() {
    return platform::TakeFileHandle(CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE,
                                                FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                                OPEN_EXISTING, 0, nullptr));
  }

  platform::KernelHandle reader_;
  ChildProcess child_;
};

TEST_F(SlowOutputTest, TheServiceIsStartedThenToldThenMapiEnds) {
  SetController(ControllerState::kStopped);
  Start("-purgeQsf -f -c");
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
  EXPECT_FALSE(MapiEnds(500));
  Read(Text({kStartingController}));
  EXPECT_TRUE(MapiEnds(10000));
  ExpectEnd();
}

TEST_F(SlowOutputTest, DoneIsToldAfterTheEndOfMapi) {
  Start("-checkQsf -p Nobody");
  Read(Text({"CStoreManager::LoadCache: AdminServices failed : 0x8004010f"}));
  EXPECT_FALSE(MapiEnds(300));
  Read(Text({"CheckQsf: storeManager LoadCache failed : 0x8004010f"}));
  EXPECT_TRUE(MapiEnds(10000));
  Read(Text({"Done"}));
  ExpectEnd();
}

}  // namespace
}  // namespace e2e
