// -assignAgents: whose stores it creates, which statements it sends to the database, in which
// order, and where it stops.
#include <gtest/gtest.h>

#include <algorithm>
#include <cwctype>
#include <string>
#include <vector>

#include "lab/common/installation.h"
#include "tests/e2e/active_computer_name.h"
#include "tests/e2e/common_lines.h"
#include "tests/e2e/support/database_lab_test.h"
#include "tests/e2e/support/mapi_holder.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/support/output.h"
#include "tests/e2e/usage_text.h"

namespace e2e {
namespace {

constexpr int32_t kServerId = 7;
constexpr uint32_t kSqlError = 0x80040E14;  // DB_E_ERRORSINCOMMAND
constexpr std::chrono::seconds kPause{10};

std::wstring Address(const std::wstring& name) { return name + L"@example.com"; }

std::string Update(int agent, const std::string& address) {
  return "UPDATE UserConfig SET AgentId=" + std::to_string(agent) + " WHERE MailboxDN='" + address +
         "';";
}

// The update of <name>@example.com.
std::string UpdateOf(int agent, const std::string& name) {
  return Update(agent, name + "@example.com");
}

// The agent of the nth file store, counted from 0.
int Turn(size_t n, int base = 200, int agents = 2) { return base + static_cast<int>(n % agents); }

// The updates of user<first>@example.com to user<last>@example.com, on two agents from 200 on.
std::string UpdatesOfUsers(size_t first, size_t last) {
  std::string batch;
  for (size_t n = first; n <= last; ++n) {
    batch += UpdateOf(Turn(n - 1), "user" + std::to_string(n));
  }
  return batch;
}

std::string Assigned(size_t count, size_t stores) {
  return "Assigned " + std::to_string(count) + " of " + std::to_string(stores) + " users ...";
}

// All output between the first two lines and the last.
std::string Output(const Strings& lines) {
  return Text({"Base Agentid=200", "Number of Agents=2"}) + Text(lines);
}

const Strings kSqlFailed = {"CBESDatabase::Execute: Failed to execute SQL : 0x80040e14",
                            "AssignUsersToAgents: Failed to execute SQL : 0x80040e14"};

class AssignAgentsTest : public DatabaseLabTest {
 protected:
  void SetUp() override {
    DatabaseLabTest::SetUp();
    Database().AddServer(kServerId, ComputerName());
    root_ = AddRoot();
  }

  std::string Assign(const Words& more = {}) { return Run("-assignAgents -p Main" + more); }

  // The frame's stores, and the users whose they are.
  lab::Service Add(const std::wstring& name, const lab::StoreOptions& options = {}) {
    AddUser(kServerId, Address(name));
    return LabTest::Add(name, options);
  }
  lab::Service AddEmbedded(const std::wstring& name, const lab::Service& parent) {
    AddUser(kServerId, Address(name));
    return LabTest::AddEmbedded(name, parent);
  }

  // user1@example.com to user<count>@example.com, with stores that compare in this order.
  void AddSampleUsers(uint32_t count) {
    Database().AddSampleUsers(kServerId, count);
    AddSampleStores(1, count);
  }
  void AddSampleStores(size_t first, size_t last) {
    std::vector<std::wstring> addresses;
    for (size_t n = first; n <= last; ++n) {
      addresses.push_back(Address(L"user" + std::to_wstring(n)));
    }
    profile_.AddSecondaryStores(addresses, Directory().wstring());
  }

  int AgentOf(const std::wstring& name) { return Database().AgentOf(Address(name)).value_or(-1); }

  lab::Service root_;
};

// The assignment.

TEST_F(AssignAgentsTest, EveryStoreGetsTheNextAgent) {
  for (const wchar_t* name : {L"ann", L"bob", L"cid", L"dan", L"eve"}) Add(name);
  EXPECT_EQ(Assign("-b 10 -n 3"),
            Text({"Base Agentid=10", "Number of Agents=3", "Assigned 5 of 5 users ...", "Done"}));
  EXPECT_EQ(Updates(),
            (Strings{"UPDATE UserConfig SET AgentId=10 WHERE MailboxDN='ann@example.com';"
                     "UPDATE UserConfig SET AgentId=11 WHERE MailboxDN='bob@example.com';"
                     "UPDATE UserConfig SET AgentId=12 WHERE MailboxDN='cid@example.com';"
                     "UPDATE UserConfig SET AgentId=10 WHERE MailboxDN='dan@example.com';"
                     "UPDATE UserConfig SET AgentId=11 WHERE MailboxDN='eve@example.com';"}));
  EXPECT_EQ(AgentOf(L"cid"), 12);
  EXPECT_EQ(AgentOf(L"dan"), 10);
}

TEST_F(AssignAgentsTest, OneAgentGetsEveryStore) {
  for (const wchar_t* name : {L"ann", L"bob", L"cid"}) Add(name);
  Assign("-n 1");
  EXPECT_EQ(Updates(),
            (Strings{UpdateOf(200, "ann") + UpdateOf(200, "bob") + UpdateOf(200, "cid")}));
}

TEST_F(AssignAgentsTest, NoAgentsLeaveTheBaseForEveryStore) {
  for (const wchar_t* name : {L"ann", L"bob", L"cid"}) Add(name);
  EXPECT_EQ(Assign("-n 0"),
            Text({"Base Agentid=200", "Number of Agents=0", "Assigned 3 of 3 users ...", "Done"}));
  EXPECT_EQ(Updates(),
            (Strings{UpdateOf(200, "ann") + UpdateOf(200, "bob") + UpdateOf(200, "cid")}));
}

TEST_F(AssignAgentsTest, StoresComeInTheOrderOfTheirEntryIds) {
  Add(L"ann", {.order = 1000});
  Add(L"bob");
  Add(L"cid", {.position = 0});
  Assign();
  EXPECT_EQ(Updates(),
            (Strings{UpdateOf(200, "bob") + UpdateOf(201, "cid") + UpdateOf(200, "ann")}));
}

TEST_F(AssignAgentsTest, TheRootStoreIsNeitherAssignedNorCounted) {
  AddUser(kServerId, Address(L"bes"), 5);
  Add(L"ann");
  EXPECT_EQ(Assign("-e"), Output({Assigned(1, 1), "Done"}));
  EXPECT_EQ(AgentOf(L"bes"), 5);
}

TEST_F(AssignAgentsTest, AStoreThatIsNoUsersIsAssignedToo) {
  LabTest::Add(L"ann");
  EXPECT_EQ(Assign(), Output({Assigned(1, 1), "Done"}));
  EXPECT_EQ(Updates(), (Strings{UpdateOf(200, "ann")}));
}

TEST_F(AssignAgentsTest, WithoutStoresThereIsNothingToDo) {
  EXPECT_EQ(Assign(), Output({"Done"}));
  EXPECT_EQ(Updates(), Strings());
}

TEST_F(AssignAgentsTest, TheMailboxDecidesNotTheUserName) {
  lab::BesUser user;
  user.serverConfigId = kServerId;
  user.userName = Address(L"ann");
  user.mailboxDn = L"/o=Org/cn=ann";
  user.agentId = 5;
  Database().AddUser(user);
  user.userName = Address(L"bob");
  user.mailboxDn = Address(L"ann");
  user.userDeleteStatus = 1;
  Database().AddUser(user);
  LabTest::Add(L"ann");
  Assign();
  EXPECT_EQ(Database().AgentOf(L"/o=Org/cn=ann"), 5);
  EXPECT_EQ(AgentOf(L"ann"), 200);
}

TEST_F(AssignAgentsTest, AddressesAreWrittenInLowerCase) {
  AddUser(kServerId, L"ANN@Example.COM");
  LabTest::Add(L"Ann@EXAMPLE.com");
  EXPECT_EQ(Assign(), Output({Assigned(1, 1), "Done"}));
  EXPECT_EQ(Updates(), (Strings{UpdateOf(200, "ann")}));
  EXPECT_EQ(AgentOf(L"ann"), 200);
}

TEST_F(AssignAgentsTest, OnlyTheLettersAToZAreLowerCased) {
  const std::wstring kName = L"\u00c4NNE.\u65e5\U0001F600@Example.COM";
  AddUser(kServerId, kName);
  LabTest::Add(kName);
  EXPECT_EQ(Assign(), Output({Assigned(1, 1), "Done"}));
  EXPECT_EQ(Updates(),
            (Strings{Update(200, Utf8FromWide(L"\u00c4nne.\u65e5\U0001F600@example.com"))}));
  EXPECT_EQ(Database().AgentOf(kName), 200);
}

TEST_F(AssignAgentsTest, AddressesOf4000CharactersAreWrittenWhole) {
  const std::wstring name(4000, L'A');
  AddUser(kServerId, name);
  profile_.AddSecondaryStore(name, StorePath(L"long.qsf"));
  Add(L"bob");
  EXPECT_EQ(Assign(), Output({Assigned(2, 2), "Done"}));
  EXPECT_EQ(Updates(), (Strings{Update(200, std::string(4000, 'a')) + UpdateOf(201, "bob")}));
  EXPECT_EQ(Database().AgentOf(name), 200);
}

TEST_F(AssignAgentsTest, PercentSignsAreLetters) {
  AddUser(kServerId, L"%s%d%n");
  profile_.AddSecondaryStore(L"%s%d%n", StorePath(L"percent.qsf"));
  EXPECT_EQ(Assign(), Output({Assigned(1, 1), "Done"}));
  EXPECT_EQ(Updates(), (Strings{Update(200, "%s%d%n")}));
}

// Batches.

TEST_F(AssignAgentsTest, StatementsGoInBatchesOf100) {
  AddSampleUsers(250);
  EXPECT_EQ(Assign(), Output({"Assigned 100 of 250 users ...", "Assigned 200 of 250 users ...",
                              "Assigned 250 of 250 users ...", "Done"}));
  EXPECT_EQ(Updates(),
            (Strings{UpdatesOfUsers(1, 100), UpdatesOfUsers(101, 200), UpdatesOfUsers(201, 250)}));
  for (const lab::BesUser& user : Database().Users(kServerId)) {
    const int number = std::stoi(user.mailboxDn->substr(4));
    EXPECT_EQ(user.agentId, 200 + (number - 1) % 2) << number;
  }
}

TEST_F(AssignAgentsTest, AHundredStoresLeaveNothingPending) {
  AddSampleUsers(100);
  EXPECT_EQ(Assign(), Output({Assigned(100, 100), "Done"}));
  EXPECT_EQ(Updates(), (Strings{UpdatesOfUsers(1, 100)}));
}

TEST_F(AssignAgentsTest, OneMoreIsABatchOfItsOwn) {
  AddSampleUsers(101);
  EXPECT_EQ(Assign(), Output({Assigned(100, 101), Assigned(101, 101), "Done"}));
  EXPECT_EQ(Updates(), (Strings{UpdatesOfUsers(1, 100), UpdatesOfUsers(101, 101)}));
}

TEST_F(AssignAgentsTest, BatchesAreRunAsTheyFill) {
  AddSampleUsers(201);
  Faults().DelayNth("ICommand::Execute", 4, 2000);  // the second batch
  RunningProgram program = StartAdmin("-assignAgents -p Main");
  ASSERT_TRUE(program.WaitForOutput("Assigned 100 of 201 users ...\r\n"));
  EXPECT_EQ(program.OutputSoFar(), Output({Assigned(100, 201)}));
  EXPECT_EQ(program.Wait().output,
            Output({Assigned(100, 201), Assigned(200, 201), Assigned(201, 201), "Done"}));
}

TEST_F(AssignAgentsTest, AFailedBatchEndsTheWalkAndTheOnesBeforeItStay) {
  AddSampleUsers(250);
  Faults().FailNth("ICommand::Execute", 4, kSqlError);
  EXPECT_EQ(Assign(), Output(Strings{Assigned(100, 250)} + kSqlFailed + Strings{"Done"}));
  EXPECT_EQ(Updates(), (Strings{UpdatesOfUsers(1, 100), UpdatesOfUsers(101, 200)}));
  EXPECT_EQ(AgentOf(L"user1"), 200);
  EXPECT_EQ(AgentOf(L"user100"), 201);
  EXPECT_EQ(AgentOf(L"user101"), 0);
  EXPECT_EQ(AgentOf(L"user201"), 0);
}

TEST_F(AssignAgentsTest, AStatementThatFailsKeepsThoseBeforeItInTheBatch) {
  AddSampleUsers(3);
  Faults().FailNth("statement", 4, kSqlError);  // two queries, then the updates
  EXPECT_EQ(Assign(), Output(kSqlFailed + Strings{"Done"}));
  EXPECT_EQ(AgentOf(L"user1"), 200);
  EXPECT_EQ(AgentOf(L"user2"), 0);
  EXPECT_EQ(AgentOf(L"user3"), 0);
}

TEST_F(AssignAgentsTest, TheLastBatchMayFailToo) {
  AddSampleUsers(2);
  Faults().FailNth("ICommand::Execute", 3, 0x80004005);
  EXPECT_EQ(Assign(), Output({"CBESDatabase::Execute: Failed to execute SQL : 0x80004005",
                              "AssignUsersToAgents: Failed to execute SQL : 0x80004005", "Done"}));
}

// Addresses with a quote.

TEST_F(AssignAgentsTest, AQuoteInAnAddressBreaksItsBatch) {
  for (const wchar_t* name : {L"ann", L"o'brien", L"zoe"}) Add(name);
  EXPECT_EQ(Assign(), Output(kSqlFailed + Strings{"Done"}));
  EXPECT_EQ(Updates(),
            (Strings{UpdateOf(200, "ann") + UpdateOf(201, "o'brien") + UpdateOf(200, "zoe")}));
  EXPECT_EQ(AgentOf(L"ann"), 0);
  EXPECT_EQ(AgentOf(L"zoe"), 0);
}

TEST_F(AssignAgentsTest, AQuoteInTheFirstBatchLeavesTheOthersUndone) {
  Database().AddSampleUsers(kServerId, 250);
  AddSampleStores(1, 50);
  Add(L"o'brien");
  AddSampleStores(51, 250);
  EXPECT_EQ(Assign(), Output(kSqlFailed + Strings{"Done"}));
  EXPECT_EQ(Updates().size(), 1U);
  EXPECT_EQ(AgentOf(L"user1"), 0);
  EXPECT_EQ(AgentOf(L"user250"), 0);
}

TEST_F(AssignAgentsTest, AQuoteInTheSecondBatchKeepsTheFirst) {
  Database().AddSampleUsers(kServerId, 250);
  AddSampleStores(1, 150);
  Add(L"o'brien");
  AddSampleStores(151, 250);
  EXPECT_EQ(Assign(), Output(Strings{Assigned(100, 251)} + kSqlFailed + Strings{"Done"}));
  EXPECT_EQ(AgentOf(L"user100"), 201);
  EXPECT_EQ(AgentOf(L"user101"), 0);
  EXPECT_EQ(AgentOf(L"user250"), 0);
}

TEST_F(AssignAgentsTest, AnAddressIsPartOfItsStatement) {
  Add(L"ann");
  const std::wstring kEverybody = L"x' or 'a'='a";
  AddUser(kServerId, kEverybody);
  profile_.AddSecondaryStore(kEverybody, StorePath(L"x.qsf"));
  EXPECT_EQ(Assign(), Output({Assigned(2, 2), "Done"}));
  EXPECT_EQ(AgentOf(L"ann"), 201);
}

// Embedded stores.

TEST_F(AssignAgentsTest, EmbeddedStoresFollowTheirParentWithItsAgent) {
  const lab::Service ann = Add(L"ann");
  Add(L"dan");
  const lab::Service eve = Add(L"eve");
  AddEmbedded(L"fay", eve);
  AddEmbedded(L"cid", ann);
  AddEmbedded(L"bob", ann);
  EXPECT_EQ(Assign(), Output({Assigned(6, 6), "Done"}));
  EXPECT_EQ(Updates(),
            (Strings{UpdateOf(200, "ann") + UpdateOf(200, "cid") + UpdateOf(200, "bob") +
                     UpdateOf(201, "dan") + UpdateOf(200, "eve") + UpdateOf(200, "fay")}));
}

TEST_F(AssignAgentsTest, AStoreEmbeddedInAnEmbeddedOneIsCountedButNotAssigned) {
  AddEmbedded(L"cid", AddEmbedded(L"bob", Add(L"ann")));
  EXPECT_EQ(Assign(), Output({Assigned(2, 3), "Done"}));
  EXPECT_EQ(Updates(), (Strings{UpdateOf(200, "ann") + UpdateOf(200, "bob")}));
}

TEST_F(AssignAgentsTest, EmbeddedStoresFillBatchesToo) {
  AddSampleUsers(98);
  const lab::Service parent = Add(L"parent");
  for (const wchar_t* name : {L"ann", L"bob", L"cid"}) AddEmbedded(name, parent);
  Add(L"zoe");
  EXPECT_EQ(Assign(), Output({Assigned(100, 103), Assigned(103, 103), "Done"}));
  EXPECT_EQ(Updates(),
            (Strings{UpdatesOfUsers(1, 98) + UpdateOf(200, "parent") + UpdateOf(200, "ann"),
                     UpdateOf(200, "bob") + UpdateOf(200, "cid") + UpdateOf(201, "zoe")}));
}

// A parent's batch that fails does not keep its embedded stores from being written.
TEST_F(AssignAgentsTest, EmbeddedStoresBehindAFailedBatchAreStillWritten) {
  AddSampleUsers(99);
  const lab::Service parent = Add(L"parent");
  for (const wchar_t* name : {L"ann", L"bob"}) AddEmbedded(name, parent);
  Add(L"zoe");
  Faults().FailNth("ICommand::Execute", 3, kSqlError);
  EXPECT_EQ(Assign(), Output(kSqlFailed + Strings{Assigned(102, 103), "Done"}));
  EXPECT_EQ(Updates(), (Strings{UpdatesOfUsers(1, 99) + UpdateOf(201, "parent"),
                                UpdateOf(201, "ann") + UpdateOf(201, "bob")}));
}

TEST_F(AssignAgentsTest, EmbeddedStoresOfTheRootAreTakenForOrphans) {
  AddEmbedded(L"bob", root_);
  Add(L"ann");
  EXPECT_EQ(Assign(), Output({"Serious error: *** Parent store not found for 'bob@example.com' ***",
                              "Deleting orphan embedded store.", "DeleteMsgService : 0x0",
                              Assigned(1, 2), "Done"}));
  EXPECT_EQ(Updates(), (Strings{UpdateOf(200, "ann")}));
  EXPECT_FALSE(profile_.Find(Address(L"bob")));
  EXPECT_TRUE(profile_.Find(Address(L"bes")));
}

// Switches.

struct Limits : NamedCase {
  Words arguments;
  int base;
  int agents;
};

class AssignAgentsLimitsTest : public AssignAgentsTest,
                               public ::testing::WithParamInterface<Limits> {};

TEST_P(AssignAgentsLimitsTest, AreThese) {
  const int base = GetParam().base;
  const int agents = GetParam().agents;
  Add(L"ann");
  Add(L"bob");
  EXPECT_EQ(Assign(GetParam().arguments),
            Text({"Base Agentid=" + std::to_string(base),
                  "Number of Agents=" + std::to_string(agents), Assigned(2, 2), "Done"}));
  EXPECT_EQ(Updates(),
            (Strings{UpdateOf(base, "ann") + UpdateOf(agents > 1 ? base + 1 : base, "bob")}));
}

INSTANTIATE_TEST_SUITE_P(
    Switches, AssignAgentsLimitsTest,
    ::testing::Values(
        Limits{"None", {}, 200, 2}, Limits{"HighestBase", "-b 400", 400, 2},
        Limits{"BaseTooHigh", "-b 401", 200, 2}, Limits{"NegativeBase", "-b -5", 200, 2},
        Limits{"ZeroBase", "-b 0", 0, 2}, Limits{"BaseInLetters", "-b abc", 0, 2},
        Limits{"BaseWithLettersBehind", "-b 12x", 12, 2}, Limits{"BaseLast", "-b", 200, 2},
        Limits{"BaseTwice", "-b 10 -b 20", 20, 2},
        Limits{"BaseTakesTheNextSwitch", "-b -n 5", 0, 2}, Limits{"MostAgents", "-n 100", 200, 100},
        Limits{"TooManyAgents", "-n 101", 200, 2}, Limits{"NegativeAgents", "-n -1", 200, 2},
        Limits{"OneAgent", "-n 1", 200, 1}, Limits{"AgentsInLetters", "-n many", 200, 0},
        Limits{"Both", "-n 3 -b 1", 1, 3}, Limits{"Capitals", "-B 10 -N 3", 200, 2}),
    kByName);

TEST_F(AssignAgentsTest, WithoutAProfileTheUsageIsShown) {
  EXPECT_EQ(Run("-assignAgents -e"), AssignAgentsUsage());
  EXPECT_EQ(Run("-assignAgents -p"), AssignAgentsUsage());
  EXPECT_TRUE(Journal().empty());
}

TEST_F(AssignAgentsTest, VerboseShowsHandlerConnectionAndEnd) {
  Add(L"ann");
  EXPECT_EQ(Assign("-v"),
            Text({"The Control Handler is installed.", "Base Agentid=200", "Number of Agents=2",
                  kConnectionLine, Assigned(1, 1), "Done", "Exiting."}));
}

TEST_F(AssignAgentsTest, MapiThatIsInUseEndsTheCommand) {
  Add(L"ann");
  const MapiHolder holder(L"outlook.exe");
  EXPECT_EQ(Assign(), MapiInUse({"outlook.exe"}));
  EXPECT_EQ(Statements(), Strings());
}

TEST_F(AssignAgentsTest, MapiThatDoesNotStartEndsTheCommand) {
  Faults().FailNth("MAPIInitialize", 1, 0x80004005);
  EXPECT_EQ(Assign(), Text({kNoMapi}));
  EXPECT_EQ(Statements(), Strings());
}

TEST_F(AssignAgentsTest, TheControllerIsStartedBehindDone) {
  SetController(lab::ControllerState::kStopped);
  Add(L"ann");
  EXPECT_EQ(Assign(), Output({Assigned(1, 1), "Done"}));
  EXPECT_EQ(lab::QueryController(), DWORD{SERVICE_STOPPED});
  EXPECT_EQ(Assign("-c"),
            Output({Assigned(1, 1), "Done", "Starting BlackBerry Controller Service."}));
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
}

TEST_F(AssignAgentsTest, TheControllerIsStartedAfterAFailureToo) {
  SetController(lab::ControllerState::kStopped);
  Faults().FailEach("IProfAdmin::AdminServices", 0x80040111);
  EXPECT_EQ(Assign("-c"),
            Output({"CStoreManager::LoadCache: AdminServices failed : 0x80040111",
                    "AssignUsersToAgents: StoreManager::LoadCache failed : 0x80040111",
                    "Starting BlackBerry Controller Service."}));
  EXPECT_TRUE(lab::WaitForController(SERVICE_RUNNING));
}

// What comes before the assignment.

TEST_F(AssignAgentsTest, MakesTheseQueries) {
  Add(L"ann");
  Assign();
  EXPECT_EQ(Statements(),
            (Strings{"SELECT Id,MachineName From ServerConfig WHERE MailStoreType='Exchange';",
                     "SELECT UserName From UserConfig WHERE ServerConfigId=7 AND "
                     "UserDeleteStatus=0;",
                     UpdateOf(200, "ann")}));
}

TEST_F(AssignAgentsTest, TheCacheIsLoadedOnceWhenNoStoreIsMissing) {
  Add(L"ann");
  Assign();
  EXPECT_EQ(Calls("MAPIAdminProfiles").size(), 1U);
  EXPECT_TRUE(Calls("MAPILogonEx").empty());
}

class ServerNameTest : public AssignAgentsTest {
 protected:
  // The server gets another name in the database.
  void Rename(const std::wstring& name) {
    Database().Run(L"DELETE FROM ServerConfig");
    Database().AddServer(kServerId, name);
  }

  void ExpectNotFound() {
    EXPECT_EQ(Assign(), Output({"AssignUsersToAgents: Failed to find server '" +
                                Utf8FromWide(ComputerName()) + "'"}));
    EXPECT_EQ(Statements(), (Strings{kSelectServers}));
    EXPECT_TRUE(Calls("MAPIAdminProfiles").empty());
  }
};

TEST_F(ServerNameTest, AnotherServersIsNotFound) {
  Rename(ComputerName() + L"2");
  ExpectNotFound();
}

TEST_F(ServerNameTest, ALowerCaseNameInTheDatabaseIsNeverFound) {
  std::wstring name = ComputerName();
  _wcslwr(name.data());
  if (name == ComputerName()) GTEST_SKIP() << "the computer's name has no letters";
  Rename(name);
  ExpectNotFound();
}

TEST_F(ServerNameTest, AMixedCaseNameInTheDatabaseIsNeverFound) {
  std::wstring name = ComputerName();
  const auto letter = std::find_if(name.rbegin(), name.rend(), std::iswalpha);
  if (letter == name.rend()) GTEST_SKIP() << "the computer's name has no letters";
  *letter = static_cast<wchar_t>(std::towlower(*letter));
  Rename(name);
  ExpectNotFound();
}

TEST_F(ServerNameTest, AServerThatIsNotExchangeIsNotFound) {
  Database().Run(L"UPDATE ServerConfig SET MailStoreType='Domino'");
  ExpectNotFound();
}

TEST_F(ServerNameTest, NoServersAtAll) {
  Database().Run(L"DELETE FROM ServerConfig");
  ExpectNotFound();
}

TEST_F(ServerNameTest, AComputersNameInLowerCaseIsCapitalised) {
  if (!RegistryNamesTheComputer()) GTEST_SKIP();
  const ActiveComputerName name(L"bes-one");
  wchar_t told[16] = {};
  DWORD size = ARRAYSIZE(told);
  ASSERT_TRUE(GetComputerNameExW(ComputerNameNetBIOS, told, &size));
  ASSERT_STREQ(told, L"bes-one");
  Rename(L"BES-ONE");
  Add(L"ann");
  EXPECT_EQ(Assign(), Output({Assigned(1, 1), "Done"}));
}

TEST_F(ServerNameTest, AComputerWithoutNameIsReported) {
  if (!RegistryNamesTheComputer()) GTEST_SKIP();
  const ActiveComputerName name(std::nullopt);
  wchar_t told[260] = {};
  DWORD size = ARRAYSIZE(told);
  ASSERT_FALSE(GetComputerNameExW(ComputerNameNetBIOS, told, &size));
  char number[16];
  std::snprintf(number, sizeof(number), "0x%lx", GetLastError());
  EXPECT_EQ(Assign(),
            Output({std::string("AssignUsersToAgents: GetComputerNameEx failed : ") + number}));
  EXPECT_EQ(Statements(), Strings());
}

TEST_F(AssignAgentsTest, AProfileThatDoesNotExistFailsTheLoad) {
  EXPECT_EQ(Run("-assignAgents -p Other"),
            Output({"CStoreManager::LoadCache: AdminServices failed : 0x8004010f",
                    "AssignUsersToAgents: StoreManager::LoadCache failed : 0x8004010f"}));
}

TEST_F(AssignAgentsTest, ASkippedLastServiceFailsTheLoad) {
  Add(L"ann");
  lab::StoreOptions options;
  options.withAddress = false;
  LabTest::Add(L"bob", options);
  EXPECT_EQ(Assign(), Output({"AssignUsersToAgents: StoreManager::LoadCache failed : 0x8004010f"}));
  EXPECT_EQ(Updates(), Strings());
}

TEST_F(AssignAgentsTest, AnOrphanThatCannotBeDeletedFailsTheLoad) {
  Add(L"ann");
  AddOrphan(L"bob");
  Faults().FailEach("IMsgServiceAdmin::DeleteMsgService", 0x80070005);
  EXPECT_EQ(Assign(), Output({"Serious error: *** Parent store not found for 'bob@example.com' ***",
                              "Deleting orphan embedded store.", "DeleteMsgService : 0x80070005",
                              "AssignUsersToAgents: StoreManager::LoadCache failed : 0x80070005"}));
  EXPECT_EQ(Updates(), Strings());
}

// Users without stores.

TEST_F(AssignAgentsTest, ExistingOnlyLeavesUsersWithoutStoreAlone) {
  Add(L"bob");
  AddUser(kServerId, Address(L"ann"), 5);
  EXPECT_EQ(Assign({L"-e", Address(L"ann")}), Output({Assigned(1, 1), "Done"}));
  EXPECT_EQ(Updates(), (Strings{UpdateOf(200, "bob")}));
  EXPECT_EQ(AgentOf(L"ann"), 5);
  EXPECT_EQ(profile_.Services().size(), 2U);
  EXPECT_EQ(Calls("MAPIAdminProfiles").size(), 1U);
  EXPECT_TRUE(Calls("MAPILogonEx").empty());
}

TEST_F(AssignAgentsTest, TheLogonThatFailsEndsTheCommand) {
  Add(L"bob");
  AddUser(kServerId, Address(L"ann"));
  Faults().FailNth("MAPILogonEx", 1, 0x80040111);
  EXPECT_EQ(Assign(), Output({"AssignUsersToAgents: Creating 1 MAPI stores...",
                              "CStoreManager::LogonToStores: MAPILogonEx failed : 0x80040111",
                              "AssignUsersToAgents: LogonToStores failed : 0x80040111"}));
  EXPECT_EQ(Updates(), Strings());
}

TEST_F(AssignAgentsTest, CtrlCWhileCreatingEndsTheCommand) {
  Database().AddSampleUsers(kServerId, 7);
  Faults().DelayMatching("IExchangeManageStore::CreateStoreEntryID", L"user", kTimeForCtrlC);
  RunningProgram program = StartAdmin("-assignAgents -p Main");
  ASSERT_TRUE(program.WaitForOutput("Creating store for 'user5@example.com'\r\n"));
  ASSERT_TRUE(program.SendCtrlC());
  Strings expected = {"AssignUsersToAgents: Creating 7 MAPI stores..."};
  for (int n = 1; n <= 5; ++n) {
    expected.push_back("Creating store for 'user" + std::to_string(n) + "@example.com'");
  }
  const RunResult result = program.Wait();
  EXPECT_EQ(result.output, Output(expected + Strings{"*User Break",
                                                     "AssignUsersToAgents: LogonToStores failed "
                                                     ": 0x80040113"}));
  EXPECT_EQ(result.exitCode, 0U);
  EXPECT_EQ(Updates(), Strings());
}

TEST_F(AssignAgentsTest, CtrlCDoesNotEndTheAssignment) {
  AddSampleUsers(150);
  Faults().DelayNth("ICommand::Execute", 3, kTimeForCtrlC);  // the first batch
  RunningProgram program = StartAdmin("-assignAgents -p Main -v");
  ASSERT_TRUE(program.WaitForOutput(kConnectionLine));
  ASSERT_TRUE(program.SendCtrlC());
  ASSERT_TRUE(program.WaitForOutput("*User Break"));
  EXPECT_EQ(program.Wait().output,
            Text({"The Control Handler is installed.", "Base Agentid=200", "Number of Agents=2",
                  kConnectionLine, "*User Break", Assigned(100, 150), Assigned(150, 150), "Done",
                  "Exiting."}));
}

// Each of these takes the pause that creation makes.
class CreationTest : public AssignAgentsTest {
 protected:
  std::string AssignWithPause() {
    const auto start = std::chrono::steady_clock::now();
    std::string output = Assign();
    EXPECT_GE(std::chrono::steady_clock::now() - start, kPause);
    return output;
  }

  // The profile's store addresses in the order of the entry IDs, without the root's.
  Strings AddressesInOrder() const {
    std::vector<lab::Service> services = profile_.Services();
    std::sort(services.begin(), services.end(),
              [](const auto& left, const auto& right) { return left.EntryId() < right.EntryId(); });
    Strings addresses;
    for (const lab::Service& service : services)
      addresses.push_back(Utf8FromWide(*service.address));
    std::erase(addresses, "bes@example.com");
    return addresses;
  }
};

TEST_F(CreationTest, UsersWithoutStoreGetOneAndAnAgent) {
  Add(L"bob");
  for (const wchar_t* name : {L"Dan", L"ANN", L"cid"}) AddUser(kServerId, Address(name));
  AddUser(8, Address(L"other"));
  EXPECT_EQ(AssignWithPause(),
            Output({"AssignUsersToAgents: Creating 3 MAPI stores...",
                    "Creating store for 'ann@example.com'", "Creating store for 'cid@example.com'",
                    "Creating store for 'dan@example.com'", Assigned(4, 4), "Done"}));
  EXPECT_EQ(AddressesInOrder().size(), 4U);
  for (const wchar_t* name : {L"ann", L"cid", L"dan"}) {
    EXPECT_TRUE(std::filesystem::exists(StorePath(Address(name) + L".qsf"))) << Utf8FromWide(name);
  }
  std::string batch;
  for (const std::string& address : AddressesInOrder()) {
    batch +=
        Update(Turn(static_cast<size_t>(std::count(batch.begin(), batch.end(), ';'))), address);
  }
  EXPECT_EQ(Updates(), (Strings{batch}));
  EXPECT_TRUE(Calls("IMAPIFolder::CreateFolder").empty());
  EXPECT_EQ(Calls("MAPIAdminProfiles").size(), 2U);
}

TEST_F(CreationTest, AStoreThatIsNotCreatedEndsTheCommand) {
  Add(L"bob");
  for (const wchar_t* name : {L"ann", L"cid"}) AddUser(kServerId, Address(name));
  Faults().FailMatching("IMAPISession::OpenMsgStore", L"ann@", 0x80040600);
  EXPECT_EQ(SortedLines(AssignWithPause()),
            Sorted({"Base Agentid=200", "Number of Agents=2",
                    "AssignUsersToAgents: Creating 2 MAPI stores...",
                    "Creating store for 'ann@example.com'", "Creating store for 'cid@example.com'",
                    "StoreLogonThread: Failed to open delegate store for user 'ann@example.com' : "
                    "0x80040600",
                    "AssignUsersToAgents: Failed to create MAPI stores : 0x80004005"}));
  EXPECT_TRUE(profile_.Find(Address(L"cid")));
  EXPECT_EQ(Updates(), Strings());
}

TEST_F(CreationTest, AUserListedTwiceWithOneStoreLacksAStore) {
  Add(L"ann");
  AddUser(kServerId, Address(L"ann"));
  EXPECT_EQ(AssignWithPause(),
            Output({"AssignUsersToAgents: Creating 1 MAPI stores...",
                    "Creating store for 'ann@example.com'",
                    "AssignUsersToAgents: Failed to create MAPI stores : 0x80004005"}));
}

TEST_F(CreationTest, TheSecondLoadMayFailToo) {
  AddUser(kServerId, Address(L"ann"));
  Faults().FailNth("IProfAdmin::AdminServices", 2, 0x80040111);
  EXPECT_EQ(AssignWithPause(),
            Output({"AssignUsersToAgents: Creating 1 MAPI stores...",
                    "Creating store for 'ann@example.com'",
                    "CStoreManager::LoadCache: AdminServices failed : 0x80040111",
                    "AssignUsersToAgents: StoreManager::LoadCache failed : 0x80040111"}));
  EXPECT_EQ(Updates(), Strings());
}

}  // namespace
}  // namespace e2e
