// -listAgents: how a server is found, and what is shown of its agents.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/e2e/support/database_lab_test.h"
#include "tests/e2e/support/mapi_holder.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/support/output.h"
#include "tests/e2e/usage_text.h"

namespace e2e {
namespace {

class ListAgentsTest : public DatabaseLabTest {
 protected:
  std::string List(const std::wstring& server) { return Run({L"-listAgents", L"-s", server}); }
};

std::string Agent(int id, int users) {
  return Text({"AgentId: " + std::to_string(id), "Users: " + std::to_string(users), " "});
}

std::string NotFound(const std::wstring& server) {
  return Text({"qrvAdminListAgents: Failed to find server '" + Utf8FromWide(server) + "'"});
}

TEST_F(ListAgentsTest, ShowsIdUsersAndABlank) {
  Database().AddServer(7, L"BES01");
  AddUser(7, L"Alice", 3);
  AddUser(7, L"BOB", 3);
  EXPECT_EQ(List(L"BES01"), Text({"AgentId: 3", "Users: 2", " "}));
}

TEST_F(ListAgentsTest, MakesTheseStatements) {
  Database().AddServer(7, L"BES01");
  List(L"BES01");
  EXPECT_EQ(Statements(),
            (Strings{"SELECT Id,MachineName From ServerConfig WHERE "
                     "MailStoreType='Exchange';",
                     "SELECT AgentId, UserName From UserConfig WHERE ServerConfigId=7 AND "
                     "UserDeleteStatus=0;"}));
}

TEST_F(ListAgentsTest, AgentsComeInSignedOrder) {
  Database().AddServer(7, L"BES01");
  for (const int32_t agent : {200, -1, 0, 7, INT32_MIN, INT32_MAX, -30}) {
    AddUser(7, L"user" + std::to_wstring(agent), agent);
  }
  EXPECT_EQ(List(L"BES01"), Agent(INT32_MIN, 1) + Agent(-30, 1) + Agent(-1, 1) + Agent(0, 1) +
                                Agent(7, 1) + Agent(200, 1) + Agent(INT32_MAX, 1));
}

TEST_F(ListAgentsTest, UsersWhoAreListedTwiceCountTwice) {
  Database().AddServer(7, L"BES01");
  AddUser(7, L"ann@example.com", 201);
  AddUser(7, L"ANN@example.com", 201);
  AddUser(7, L"ann@example.com", 200);
  EXPECT_EQ(List(L"BES01"), Agent(200, 1) + Agent(201, 2));
}

TEST_F(ListAgentsTest, DeletedUsersAndOtherServersDoNotCount) {
  Database().AddServer(7, L"BES01");
  Database().AddServer(8, L"BES02");
  AddUser(7, L"ann@example.com", 200);
  AddUser(8, L"bob@example.com", 201);
  lab::BesUser deleted;
  deleted.serverConfigId = 7;
  deleted.userName = L"cid@example.com";
  deleted.agentId = 202;
  deleted.userDeleteStatus = 1;
  Database().AddUser(deleted);
  EXPECT_EQ(List(L"BES01"), Agent(200, 1));
}

TEST_F(ListAgentsTest, AServerWithoutUsersPrintsNothing) {
  Database().AddServer(7, L"BES01");
  EXPECT_EQ(List(L"BES01"), "");
}

TEST_F(ListAgentsTest, TenThousandUsersOfTwoAgents) {
  SetProviderOptions(L"journal=brief");
  Database().AddServer(7, L"BES01");
  Database().AddSampleUsers(7, 9999);
  AddUser(7, L"last@example.com", 1);
  EXPECT_EQ(List(L"BES01"), Agent(0, 9999) + Agent(1, 1));
}

TEST_F(ListAgentsTest, ALowerCaseArgumentIsFoundAmongCapitals) {
  Database().AddServer(7, L"BES01");
  AddUser(7, L"ann@example.com", 200);
  EXPECT_EQ(List(L"bes01"), Agent(200, 1));
  EXPECT_EQ(List(L"BeS01"), Agent(200, 1));
}

TEST_F(ListAgentsTest, ALowerCaseNameInTheDatabaseIsNeverFound) {
  Database().AddServer(7, L"bes01");
  Database().AddServer(8, L"Bes02");
  AddUser(7, L"ann@example.com", 200);
  AddUser(8, L"bob@example.com", 200);
  EXPECT_EQ(List(L"bes01"), NotFound(L"BES01"));
  EXPECT_EQ(List(L"Bes02"), NotFound(L"BES02"));
}

TEST_F(ListAgentsTest, NothingButTheWholeNameIsFound) {
  Database().AddServer(7, L"BES01");
  EXPECT_EQ(List(L"BES0"), NotFound(L"BES0"));
  EXPECT_EQ(List(L"BES01 "), NotFound(L"BES01 "));
}

TEST_F(ListAgentsTest, OnlyTheLettersAToZAreCapitalised) {
  Database().AddServer(7, L"B\u00dcRO-\u65e5");
  AddUser(7, L"ann@example.com", 200);
  EXPECT_EQ(List(L"b\u00dcro-\u65e5"), Agent(200, 1));
  EXPECT_EQ(List(L"b\u00fcro-\u65e5"), NotFound(L"B\u00fcRO-\u65e5"));
}

TEST_F(ListAgentsTest, ANameOf4000CharactersIsFound) {
  Database().AddServer(7, std::wstring(3999, L'A') + L"Y");
  Database().AddServer(8, std::wstring(3999, L'A') + L"Z");
  AddUser(7, L"ann@example.com", 200);
  AddUser(8, L"bob@example.com", 201);
  EXPECT_EQ(List(std::wstring(3999, L'a') + L"z"), Agent(201, 1));
}

TEST_F(ListAgentsTest, ALongNameThatIsNotFoundIsShownCut) {
  const std::string begin = "qrvAdminListAgents: Failed to find server '";
  EXPECT_EQ(List(std::wstring(300, L'a')), Text({begin + std::string(254 - begin.size(), 'A')}));
}

TEST_F(ListAgentsTest, ServersThatAreNotExchangeAreNotFound) {
  Database().AddServer({7, L"BES01", L"Domino"});
  EXPECT_EQ(List(L"BES01"), NotFound(L"BES01"));
}

TEST_F(ListAgentsTest, TheServersThatCannotBeReadAreReported) {
  Database().AddServer({7, std::nullopt});
  EXPECT_EQ(List(L"BES01"), Text({"CBESDatabase::GetServers: NULL server name",
                                  "qrvAdminListAgents: GetServers failed : 0x80004005"}));
}

TEST_F(ListAgentsTest, AgentsReadBeforeAFailureAreNotShown) {
  Database().AddServer(7, L"BES01");
  AddUser(7, L"ann@example.com", 200);
  lab::BesUser nameless;
  nameless.serverConfigId = 7;
  Database().AddUser(nameless);
  EXPECT_EQ(List(L"BES01"),
            Text({"CBESDatabase::GetServerUserNamesByAgentId: NULL user name",
                  "qrvAdminListAgents: GetServerUserNamesByAgentId failed : 0x80004005"}));
}

TEST_F(ListAgentsTest, VerboseShowsTheConnectionAndTheEndAndNoHandler) {
  Database().AddServer(7, L"BES01");
  AddUser(7, L"ann@example.com", 200);
  EXPECT_EQ(Run("-listAgents -v -s BES01"),
            Text({kConnectionLine}) + Agent(200, 1) + Text({"Exiting."}));
}

TEST_F(ListAgentsTest, TheValueOfTheServerSwitchIsNoSwitch) {
  Database().AddServer(7, L"-V");
  AddUser(7, L"ann@example.com", 200);
  EXPECT_EQ(Run("-listAgents -s -v"), Agent(200, 1));
}

TEST_F(ListAgentsTest, OfTwoServersTheLastCounts) {
  Database().AddServer(7, L"BES01");
  AddUser(7, L"ann@example.com", 200);
  EXPECT_EQ(Run("-listAgents -s other -s BES01"), Agent(200, 1));
}

TEST_F(ListAgentsTest, MapiIsLeftToOthersAndTheControllerAlone) {
  SetController(lab::ControllerState::kStopped);
  const MapiHolder holder(L"outlook.exe");
  Database().AddServer(7, L"BES01");
  AddUser(7, L"ann@example.com", 200);
  EXPECT_EQ(Run("-listAgents -s BES01 -c"), Agent(200, 1));
  EXPECT_TRUE(Calls("MAPIInitialize").empty());
  EXPECT_TRUE(Calls("Controller::Start").empty());
}

struct UsageCase : NamedCase {
  Words arguments;
};

class ListAgentsUsageTest : public DatabaseLabTest,
                            public ::testing::WithParamInterface<UsageCase> {};

TEST_P(ListAgentsUsageTest, IsShownAndTheDatabaseLeftAlone) {
  Database().AddServer(7, L"BES01");
  EXPECT_EQ(Run(GetParam().arguments), ListAgentsUsage());
  EXPECT_TRUE(Journal().empty());
}

INSTANTIATE_TEST_SUITE_P(, ListAgentsUsageTest,
                         ::testing::Values(UsageCase{"NoServer", "-listAgents"},
                                           UsageCase{"ServerSwitchLast", "-listAgents -s"},
                                           UsageCase{"EmptyServer", "-listAgents -s \"\""},
                                           UsageCase{"CapitalSwitch", "-listAgents -S BES01"},
                                           UsageCase{"ServerSwitchTwice", "-listAgents -s -s"},
                                           UsageCase{"ServerSwitchLastAgain",
                                                     "-listAgents -s BES01 -s"}),
                         kByName);

TEST_F(ListAgentsTest, VerboseUsageSaysThatItExits) {
  EXPECT_EQ(Run("-listAgents -v"), ListAgentsUsage() + Text({"Exiting."}));
}

}  // namespace
}  // namespace e2e
