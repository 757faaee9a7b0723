// -listServers: which servers it shows, in which order, with and without their users' numbers.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/e2e/support/database_lab_test.h"
#include "tests/e2e/support/mapi_holder.h"
#include "tests/e2e/support/output.h"

namespace e2e {
namespace {

class ListServersTest : public DatabaseLabTest {
 protected:
  void AddServerOfType(int32_t id, const std::wstring& name,
                       const std::optional<std::wstring>& mailStoreType) {
    Database().AddServer({id, name, mailStoreType});
  }
};

std::string Server(int id, const std::string& name) {
  return Text({"Id: " + std::to_string(id), "MachineName: " + name, " "});
}

std::string Counted(int id, int users, const std::string& name) {
  return Text({"Id: " + std::to_string(id), "Users: " + std::to_string(users),
               "MachineName: " + name, " "});
}

TEST_F(ListServersTest, ShowsIdNameAndABlank) {
  Database().AddServer(7, L"BES01");
  EXPECT_EQ(Run("-listServers"), Text({"Id: 7", "MachineName: BES01", " "}));
}

TEST_F(ListServersTest, UserCountsStandBetweenIdAndName) {
  Database().AddServer(7, L"BES01");
  Database().AddSampleUsers(7, 120);
  EXPECT_EQ(Run("-listServers -c"), Text({"Id: 7", "Users: 120", "MachineName: BES01", " "}));
}

TEST_F(ListServersTest, TheCountSwitchMayComeFirst) {
  Database().AddServer(7, L"BES01");
  EXPECT_EQ(Run("-c other -listServers"), Counted(7, 0, "BES01"));
}

TEST_F(ListServersTest, ACapitalCIsNoSwitch) {
  Database().AddServer(7, L"BES01");
  EXPECT_EQ(Run("-listServers -C"), Server(7, "BES01"));
  EXPECT_EQ(Statements(), (Strings{kSelectServers}));
}

TEST_F(ListServersTest, VerboseIsNoSwitchEither) {
  Database().AddServer(7, L"BES01");
  EXPECT_EQ(Run("-listServers -v"), Server(7, "BES01"));
  EXPECT_EQ(Run("-v -listServers -c"), Counted(7, 0, "BES01"));
}

TEST_F(ListServersTest, ServersComeInTheOrdinalOrderOfTheirNames) {
  const std::vector<std::wstring> names = {L"b", L"\uff21", L"B2",         L"\u00c4", L"_",
                                           L"B", L"a",      L"\U0001F600", L"B10"};
  for (size_t i = 0; i < names.size(); ++i) {
    Database().AddServer(static_cast<int32_t>(i) + 1, names[i]);
  }
  EXPECT_EQ(Run("-listServers"),
            Server(6, "B") + Server(9, "B10") + Server(3, "B2") + Server(5, "_") + Server(7, "a") +
                Server(1, "b") + Server(4, Utf8FromWide(L"\u00c4")) +
                Server(8, Utf8FromWide(L"\U0001F600")) + Server(2, Utf8FromWide(L"\uff21")));
}

TEST_F(ListServersTest, NamesAreShownAsStored) {
  Database().AddServer(1, L"bes01");
  Database().AddServer(2, L"Zo\u00eb-\u65e5\u672c");
  EXPECT_EQ(Run("-listServers"),
            Server(2, Utf8FromWide(L"Zo\u00eb-\u65e5\u672c")) + Server(1, "bes01"));
}

TEST_F(ListServersTest, NamesThatDifferInLetterCaseAreTwoServers) {
  Database().AddServer(1, L"bes01");
  Database().AddServer(2, L"BES01");
  EXPECT_EQ(Run("-listServers"), Server(2, "BES01") + Server(1, "bes01"));
}

TEST_F(ListServersTest, OfARepeatedNameTheFirstRowCounts) {
  Database().AddServer(9, L"BES01");
  Database().AddServer(7, L"BES01");
  Database().AddSampleUsers(9, 2);
  Database().AddSampleUsers(7, 5);
  EXPECT_EQ(Run("-listServers -c"), Counted(9, 2, "BES01"));
}

TEST_F(ListServersTest, OnlyExchangeServersAreShown) {
  AddServerOfType(1, L"BES01", L"Domino");
  AddServerOfType(2, L"BES02", L"Exchange");
  AddServerOfType(3, L"BES03", std::nullopt);
  AddServerOfType(4, L"BES04", L"Exchange 2");
  EXPECT_EQ(Run("-listServers"), Server(2, "BES02"));
}

TEST_F(ListServersTest, WithoutServersNothingIsPrinted) {
  EXPECT_EQ(Run("-listServers"), "");
  EXPECT_EQ(Run("-listServers -c"), "");
}

TEST_F(ListServersTest, IdsMayBeNegative) {
  Database().AddServer(-7, L"BES01");
  AddUser(-7, L"ann@example.com");
  EXPECT_EQ(Run("-listServers -c"), Counted(-7, 1, "BES01"));
  EXPECT_EQ(Statements(), (Strings{kSelectServers,
                                   "SELECT COUNT(*) From UserConfig WHERE "
                                   "ServerConfigId=-7 AND UserDeleteStatus=0;"}));
}

TEST_F(ListServersTest, CountsAreOfTheServersOwnUsersWhoAreNotDeleted) {
  Database().AddServer(7, L"BES01");
  Database().AddServer(8, L"BES02");
  Database().AddSampleUsers(8, 3);
  AddUser(7, L"ann@example.com");
  lab::BesUser deleted;
  deleted.serverConfigId = 7;
  deleted.userName = L"bob@example.com";
  for (const std::optional<int32_t>& status : {std::optional(1), std::optional<int32_t>()}) {
    deleted.userDeleteStatus = status;
    Database().AddUser(deleted);
  }
  EXPECT_EQ(Run("-listServers -c"), Counted(7, 1, "BES01") + Counted(8, 3, "BES02"));
}

TEST_F(ListServersTest, TenThousandUsersAreCounted) {
  Database().AddServer(7, L"BES01");
  Database().AddSampleUsers(7, 10000);
  EXPECT_EQ(Run("-listServers -c"), Counted(7, 10000, "BES01"));
}

TEST_F(ListServersTest, ACountThatFailsEndsTheListing) {
  Database().AddServer(1, L"BES01");
  Database().AddServer(2, L"BES02");
  Database().AddServer(3, L"BES03");
  // The servers, the first count, the second.
  Faults().FailNth("ICommand::Execute", 3, 0x80040E14);
  EXPECT_EQ(Run("-listServers -c"),
            Counted(1, 0, "BES01") +
                Text({"CBESDatabase::CountServerUsers: Failed to execute SQL : 0x80040e14"}));
  EXPECT_EQ(Statements().size(), 3U);
}

TEST_F(ListServersTest, ServersBehindARowThatFailsAreNotShownNorThoseBefore) {
  Database().AddServer(1, L"BES01");
  Database().AddServer({2, std::nullopt});
  EXPECT_EQ(Run("-listServers"), Text({"CBESDatabase::GetServers: NULL server name"}));
}

TEST_F(ListServersTest, ALineEndsAfter254CharactersAndTheNextIsWhole) {
  Database().AddServer(1, std::wstring(4000, L'A'));
  Database().AddServer(2, L"B" + std::wstring(9000, L'c'));
  Database().AddServer(3, L"C");
  const std::string cut = "MachineName: ";
  EXPECT_EQ(Run("-listServers"),
            Text({"Id: 1", cut + std::string(254 - cut.size(), 'A'), " ", "Id: 2",
                  cut + "B" + std::string(253 - cut.size(), 'c'), " ", "Id: 3", cut + "C", " "}));
}

TEST_F(ListServersTest, MapiIsLeftToOthersAndTheControllerAlone) {
  SetController(lab::ControllerState::kStopped);
  const MapiHolder holder(L"outlook.exe");
  Database().AddServer(7, L"BES01");
  EXPECT_EQ(Run("-listServers -c"), Counted(7, 0, "BES01"));
  EXPECT_TRUE(Calls("MAPIInitialize").empty());
  EXPECT_TRUE(Calls("Controller::Start").empty());
}

TEST_F(ListServersTest, OneConnectionServesTheWholeRun) {
  for (int32_t id = 1; id <= 3; ++id) Database().AddServer(id, L"BES0" + std::to_wstring(id));
  Run("-listServers -c");
  EXPECT_EQ(Statements().size(), 4U);
  EXPECT_EQ(Calls("IDBInitialize::Initialize").size(), 1U);
  EXPECT_EQ(Calls("IDBCreateSession::CreateSession").size(), 1U);
}

}  // namespace
}  // namespace e2e
