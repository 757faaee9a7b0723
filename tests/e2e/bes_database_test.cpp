// The BES database: where the registry says it is, the connection, and every way in which reading
// from it can fail, seen through the commands that need it.
#include <gtest/gtest.h>
#include <objbase.h>

#include <string>
#include <tuple>
#include <vector>

#include "lab/bes/registration.h"
#include "lab/common/installation.h"
#include "lab/common/registry_key.h"
#include "tests/e2e/support/database_lab_test.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/support/output.h"

namespace e2e {
namespace {

constexpr uint32_t kFail = 0x80004005;          // E_FAIL
constexpr uint32_t kFileNotFound = 0x80070002;  // Win32 error 2
constexpr uint32_t kNotFound = 0x80070490;      // Win32 error 1168
constexpr uint32_t kCantConvert = 2;            // DBSTATUS_E_CANTCONVERTVALUE
constexpr uint32_t kUnavailable = 8;            // DBSTATUS_E_UNAVAILABLE
constexpr char kNoGuid[] = "{00000000-0000-0000-0000-000000000000}";
constexpr char kOpenRowsetInterface[] = "{0C733A69-2A1C-11CE-ADE5-00AA0044773D}";

std::string Failed(const std::string& what, uint32_t result) {
  return what + " failed : " + lab::HexNumber(result);
}

// The client that works on the database without a command around it.
RunOptions Client() { return {.program = LabBinaries() / L"database_client.exe"}; }

// A server with two users, and a profile in which both have stores, so that every command gets to
// the end.
class BesDatabaseTest : public DatabaseLabTest {
 protected:
  void SetUp() override {
    DatabaseLabTest::SetUp();
    Database().AddServer(7, ComputerName());
    AddRoot();
    for (const std::wstring name : {L"ann", L"bob"}) {
      AddUser(7, name + L"@example.com", 200);
      Add(name);
    }
  }

  std::string RunClient(const Words& operations) { return Run(operations, Client()); }

  // The user whom the query returns next to the two.
  lab::BesUser User(const std::optional<std::wstring>& name, std::optional<int32_t> agentId) {
    lab::BesUser user;
    user.serverConfigId = 7;
    user.userName = name;
    user.agentId = agentId;
    return user;
  }
};

// The commands, each with what it prints around a failure to read the servers.
struct Command : NamedCase {
  Words arguments;
  Strings before;
  Strings after;  // with the HRESULT in the place of "#"
};

const Command kListServers = {"listServers", "-listServers", {}, {}};
const Command kListAgents = {
    "listAgents", "-listAgents -s BES01", {}, {"qrvAdminListAgents: GetServers failed : #"}};
const Command kAssignAgents = {"assignAgents",
                               "-assignAgents -p Main",
                               {"Base Agentid=200", "Number of Agents=2"},
                               {"AssignUsersToAgents: GetServers failed : #"}};

// What a command prints when `lines`, also with "#", come from the database.
std::string Around(const Command& command, const Strings& lines, uint32_t result) {
  Strings all = command.before + lines + command.after;
  for (std::string& line : all) {
    if (line.ends_with('#')) line.replace(line.size() - 1, 1, lab::HexNumber(result));
  }
  return Text(all);
}

class BesLocationTest : public BesDatabaseTest, public ::testing::WithParamInterface<Command> {
 protected:
  void ExpectFailure(uint32_t result) {
    EXPECT_EQ(
        Run(GetParam().arguments),
        Around(GetParam(),
               {"CBESDatabase::GetConnectionString: Unable to read BES Database properties : #",
                "CBESDatabase::Connect: GetConnectionString failed : #",
                "CBESDatabase::GetServers: Connect failed : #"},
               result));
    EXPECT_TRUE(Calls("IClassFactory::CreateInstance").empty());
  }
};

TEST_P(BesLocationTest, AMissingKeyIsTold) {
  ASSERT_TRUE(lab::RemoveBesRegistryKey());
  ExpectFailure(kFileNotFound);
}

INSTANTIATE_TEST_SUITE_P(Commands, BesLocationTest,
                         ::testing::Values(kListServers, kListAgents, kAssignAgents), kByName);

// A value of the key, and how it is spoilt.
struct Spoilt : NamedCase {
  const wchar_t* value;
  std::optional<lab::RawValue> content;  // none removes it
};

class BesLocationValueTest : public BesDatabaseTest,
                             public ::testing::WithParamInterface<Spoilt> {};

TEST_P(BesLocationValueTest, ThatIsMissingOrNoTextIsNotFound) {
  const Spoilt& spoilt = GetParam();
  ASSERT_TRUE(spoilt.content ? lab::SetBesRegistryValue(spoilt.value, *spoilt.content)
                             : lab::RemoveBesRegistryValue(spoilt.value));
  EXPECT_EQ(Run("-listServers"),
            Around(kListServers,
                   {"CBESDatabase::GetConnectionString: Unable to read BES Database properties : #",
                    "CBESDatabase::Connect: GetConnectionString failed : #",
                    "CBESDatabase::GetServers: Connect failed : #"},
                   kNotFound));
}

lab::RawValue Number() { return {REG_DWORD, {1, 0, 0, 0}}; }

INSTANTIATE_TEST_SUITE_P(
    Values, BesLocationValueTest,
    ::testing::Values(
        Spoilt{"ServerMissing", lab::kBesServerValue, std::nullopt},
        Spoilt{"DatabaseMissing", lab::kBesDatabaseValue, std::nullopt},
        Spoilt{"ServerExpandable", lab::kBesServerValue, lab::TextValue(L"SRV", REG_EXPAND_SZ)},
        Spoilt{"DatabaseExpandable", lab::kBesDatabaseValue, lab::TextValue(L"BES", REG_EXPAND_SZ)},
        Spoilt{"ServerNumber", lab::kBesServerValue, Number()},
        Spoilt{"DatabaseNumber", lab::kBesDatabaseValue, Number()},
        Spoilt{"ServerSeveralTexts", lab::kBesServerValue, lab::TextValue(L"SRV", REG_MULTI_SZ)},
        Spoilt{"DatabaseBinary", lab::kBesDatabaseValue, lab::TextValue(L"BES", REG_BINARY)}),
    kByName);

TEST_F(BesDatabaseTest, TheKeyIsNotLookedForAmong32BitPrograms) {
  const std::wstring other = L"SOFTWARE\\Wow6432Node\\Research In Motion";
  ASSERT_TRUE(lab::RemoveBesRegistryKey());
  {
    const auto key = lab::RegistryKey::Create(HKEY_LOCAL_MACHINE,
                                              other + L"\\BlackBerry Enterprise Server\\Database");
    ASSERT_TRUE(key.Open());
    EXPECT_TRUE(key.Write(lab::kBesServerValue, lab::TextValue(L"SRV", REG_SZ)));
    EXPECT_TRUE(key.Write(lab::kBesDatabaseValue, lab::TextValue(L"BES", REG_SZ)));
  }
  EXPECT_EQ(Lines(Run("-listServers")).back(),
            Failed("CBESDatabase::GetServers: Connect", kFileNotFound));
  EXPECT_TRUE(lab::DeleteKeyTree(HKEY_LOCAL_MACHINE, other));
}

// The connection string.

struct Location : NamedCase {
  std::wstring server;
  std::wstring database;
};

class ConnectionStringTest : public BesDatabaseTest,
                             public ::testing::WithParamInterface<Location> {};

TEST_P(ConnectionStringTest, HoldsTheValuesAsTheyAre) {
  const Location& location = GetParam();
  ASSERT_TRUE(lab::SetBesDatabaseLocation(location.server, location.database));
  const Strings lines = Lines(Run("-listAgents -s none -v"));
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0],
            "Connection string=Provider=SQLOLEDB;Server=" + Utf8FromWide(location.server) +
                ";Database=" + Utf8FromWide(location.database) + ";Trusted_Connection=Yes");
}

INSTANTIATE_TEST_SUITE_P(
    Locations, ConnectionStringTest,
    ::testing::Values(Location{"Plain", L"SRV", L"BES"}, Location{"Empty", L"", L""},
                      Location{"Instance", L"SRV\\SQL Express,1433", L"BES Mgmt"},
                      Location{"Separators", L"a;b='c'", L"\"d\"=e;"},
                      Location{"PercentSigns", L"%s%d", L"%WINDIR%%n"},
                      Location{"OutsideAscii", L"B\u00fcro", L"\u65e5\u672c"}),
    kByName);

TEST_F(BesDatabaseTest, TheProviderGetsServerAndDatabase) {
  SetProviderOptions(L"server=SRV;database=BES");
  EXPECT_EQ(Run("-listServers"),
            Text({"Id: 7", "MachineName: " + Utf8FromWide(ComputerName()), " "}));
  SetProviderOptions(L"server=SRV;database=BES2");
  EXPECT_EQ(Run("-listServers"),
            Text({Failed("CBESDatabase::Connect: OpenFromInitializationString", kFail),
                  Failed("CBESDatabase::GetServers: Connect", kFail)}));
}

TEST_F(BesDatabaseTest, AConnectionStringBeyondALineIsShownCutAndUsedWhole) {
  const std::wstring server(300, L's');
  ASSERT_TRUE(lab::SetBesDatabaseLocation(server, L"BES"));
  SetProviderOptions(L"server=" + server + L";database=BES");
  const std::string begin = "Connection string=Provider=SQLOLEDB;Server=";
  EXPECT_EQ(Run({L"-listAgents", L"-s", ComputerName(), L"-v"}),
            Text({begin + std::string(254 - begin.size(), 's'), "AgentId: 200", "Users: 2", " ",
                  "Exiting."}));
}

TEST_F(BesDatabaseTest, TheConnectionStringIsShownOnceARunAndOnlyInVerboseMode) {
  EXPECT_EQ(CountLines(Run("-assignAgents -p Main -v"), kConnectionLine), 1);
  EXPECT_EQ(CountLines(Run("-assignAgents -p Main"), kConnectionLine), 0);
  ASSERT_EQ(Calls("IDBInitialize::Initialize").size(), 2U);
  EXPECT_EQ(Calls("IDBCreateSession::CreateSession").size(), 2U);
}

TEST_F(BesDatabaseTest, TheConnectionStringIsShownBeforeAnOpenThatFails) {
  Faults().FailEach("IDBInitialize::Initialize", kFail);
  EXPECT_EQ(
      Run("-listAgents -s BES01 -v"),
      Text({kConnectionLine, Failed("CBESDatabase::Connect: OpenFromInitializationString", kFail),
            Failed("CBESDatabase::GetServers: Connect", kFail),
            Failed("qrvAdminListAgents: GetServers", kFail), "Exiting."}));
}

TEST_F(BesDatabaseTest, ALocationThatCannotBeReadIsNotShown) {
  ASSERT_TRUE(lab::RemoveBesRegistryKey());
  EXPECT_EQ(Lines(Run("-listAgents -s BES01 -v")).front(),
            "CBESDatabase::GetConnectionString: Unable to read BES Database properties : "
            "0x80070002");
}

// Opening.

struct OpenFailure : NamedCase {
  const char* operation;
  const char* step;
  uint32_t result;
};

class OpenFailureTest : public BesDatabaseTest,
                        public ::testing::WithParamInterface<std::tuple<Command, OpenFailure>> {};

TEST_P(OpenFailureTest, IsToldByEveryCaller) {
  const auto& [command, failure] = GetParam();
  Faults().FailEach(failure.operation, failure.result);
  EXPECT_EQ(Run(command.arguments),
            Around(command,
                   {std::string("CBESDatabase::Connect: ") + failure.step + " failed : #",
                    "CBESDatabase::GetServers: Connect failed : #"},
                   failure.result));
  EXPECT_EQ(Calls(failure.operation).size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    Steps, OpenFailureTest,
    ::testing::Combine(::testing::Values(kListServers, kListAgents, kAssignAgents),
                       ::testing::Values(OpenFailure{"Properties", "IDBProperties::SetProperties",
                                                     "OpenFromInitializationString", 0x80040E21},
                                         OpenFailure{"Initialize", "IDBInitialize::Initialize",
                                                     "OpenFromInitializationString", 0x80040E4D},
                                         OpenFailure{"Session", "IDBCreateSession::CreateSession",
                                                     "Session open", 0x80040E25})),
    [](const auto& testCase) {
      return std::string(std::get<0>(testCase.param).name) + std::get<1>(testCase.param).name;
    });

TEST_F(BesDatabaseTest, AProviderThatIsNotInstalledFailsTheOpening) {
  ASSERT_TRUE(lab::UnregisterOledbProvider());
  CLSID unused;
  const auto expected = static_cast<uint32_t>(CLSIDFromProgID(L"SQLOLEDB", &unused));
  EXPECT_EQ(Run("-listServers"),
            Text({Failed("CBESDatabase::Connect: OpenFromInitializationString", expected),
                  Failed("CBESDatabase::GetServers: Connect", expected)}));
}

TEST_F(BesDatabaseTest, TheSessionIsAskedForTheOpeningOfRowsets) {
  Run("-listServers");
  const auto sessions = Calls("IDBCreateSession::CreateSession");
  ASSERT_EQ(sessions.size(), 1U);
  EXPECT_EQ(sessions[0].Argument("iid"), kOpenRowsetInterface);
}

TEST_F(BesDatabaseTest, UpdatesAskForNoRowset) {
  Run("-assignAgents -p Main");
  const auto executed = Calls("ICommand::Execute");
  ASSERT_EQ(executed.size(), 3U);
  EXPECT_NE(executed[0].Argument("iid"), kNoGuid);
  EXPECT_NE(executed[1].Argument("iid"), kNoGuid);
  EXPECT_EQ(executed[2].Argument("iid"), kNoGuid);
}

TEST_F(BesDatabaseTest, ASecondConnectDoesNothing) {
  EXPECT_EQ(RunClient("-v connect connect servers"),
            Text({kConnectionLine, "connect = 0x0", "connect = 0x0",
                  Utf8FromWide(ComputerName()) + ": 7", "servers = 0x0"}));
  EXPECT_EQ(Calls("IDBInitialize::Initialize").size(), 1U);
  EXPECT_EQ(Calls("IDBCreateSession::CreateSession").size(), 1U);
}

TEST_F(BesDatabaseTest, AfterAFailedSessionTheNextOperationTriesAgain) {
  Faults().FailNth("IDBCreateSession::CreateSession", 1, kFail);
  EXPECT_EQ(RunClient("-v count 7 count 7"),
            Text({kConnectionLine, Failed("CBESDatabase::Connect: Session open", kFail),
                  Failed("CBESDatabase::CountServerUsers: Connect", kFail), "4711",
                  "count = 0x80004005", kConnectionLine, "2", "count = 0x0"}));
  EXPECT_EQ(Calls("IDBInitialize::Initialize").size(), 2U);
}

TEST_F(BesDatabaseTest, AfterAFailedOpeningTheNextOperationTriesAgain) {
  Faults().FailNth("IDBInitialize::Initialize", 1, kFail);
  EXPECT_EQ(RunClient("connect count 7"),
            Text({Failed("CBESDatabase::Connect: OpenFromInitializationString", kFail),
                  "connect = 0x80004005", "2", "count = 0x0"}));
}

struct Operation : NamedCase {
  Words words;
};

class UnconnectedTest : public BesDatabaseTest, public ::testing::WithParamInterface<Operation> {};

TEST_P(UnconnectedTest, OperationsNameThemselves) {
  Faults().FailEach("IDBInitialize::Initialize", kFail);
  const Strings lines = Lines(RunClient(GetParam().words));
  ASSERT_GE(lines.size(), 2U);
  EXPECT_EQ(lines[1], Failed(std::string("CBESDatabase::") + GetParam().name + ": Connect", kFail));
  EXPECT_EQ(lines.back(), Utf8FromWide(GetParam().words[0]) + " = 0x80004005");
}

INSTANTIATE_TEST_SUITE_P(
    Operations, UnconnectedTest,
    ::testing::Values(Operation{"GetServers", "servers"}, Operation{"CountServerUsers", "count 7"},
                      Operation{"GetServerUserNames", "names 7"},
                      Operation{"GetServerUserNamesByAgentId", "agents 7"},
                      Operation{"Execute", "execute \"UPDATE UserConfig SET AgentId=1;\""}),
    kByName);

TEST_F(BesDatabaseTest, AStatementThatFailsIsToldAndTheConnectionKept) {
  EXPECT_EQ(
      RunClient(
          "execute \"UPDATE NoTable SET AgentId=1;\" execute \"UPDATE UserConfig SET AgentId=9;\""),
      Text({"CBESDatabase::Execute: Failed to execute SQL : 0x80040e37", "execute = 0x80040e37",
            "execute = 0x0"}));
  EXPECT_EQ(Database().AgentOf(L"ann@example.com"), 9);
  EXPECT_EQ(Calls("IDBInitialize::Initialize").size(), 1U);
}

// The queries. Each is reached by the nth statement of a command, which prints lines around it.
struct Query {
  const char* function;
  uint32_t number;
  Command command;
  std::string statement;
};

Query ServersQuery() { return {"GetServers", 1, kListServers, kSelectServers}; }

Query CountQuery() {
  return {"CountServerUsers",
          2,
          {"", "-listServers -c", {}, {}},
          "SELECT COUNT(*) From UserConfig WHERE ServerConfigId=7 AND UserDeleteStatus=0;"};
}

Query NamesQuery() {
  return {"GetServerUserNames",
          2,
          {"",
           kAssignAgents.arguments,
           kAssignAgents.before,
           {"AssignUsersToAgents: GetServerUserNames failed : #"}},
          "SELECT UserName From UserConfig WHERE ServerConfigId=7 AND UserDeleteStatus=0;"};
}

Query AgentsQuery() {
  return {"GetServerUserNamesByAgentId",
          2,
          {"",
           {L"-listAgents", L"-s", ComputerName()},
           {},
           {"qrvAdminListAgents: GetServerUserNamesByAgentId failed : #"}},
          "SELECT AgentId, UserName From UserConfig WHERE ServerConfigId=7 AND "
          "UserDeleteStatus=0;"};
}

// The tests get functions that make the queries: the computer's name is no constant.
using QueryMaker = Query (*)();

class QueryTest : public BesDatabaseTest, public ::testing::WithParamInterface<QueryMaker> {};

std::string QueryName(QueryMaker query) { return query().function; }

TEST_P(QueryTest, IsThisStatement) {
  const Query query = GetParam()();
  Run(query.command.arguments);
  const Strings statements = Statements();
  ASSERT_GE(statements.size(), query.number);
  EXPECT_EQ(statements[query.number - 1], query.statement);
}

INSTANTIATE_TEST_SUITE_P(Queries, QueryTest,
                         ::testing::Values(&ServersQuery, &CountQuery, &NamesQuery, &AgentsQuery),
                         [](const auto& testCase) { return QueryName(testCase.param); });

struct QueryFailure : NamedCase {
  const char* operation;
  const char* message;  // with the HRESULT in the place of "#"
  uint32_t result;      // that is injected
  uint32_t shown;       // that the command shows
};

class QueryFailureTest
    : public BesDatabaseTest,
      public ::testing::WithParamInterface<std::tuple<QueryMaker, QueryFailure>> {};

TEST_P(QueryFailureTest, IsToldAndEndsTheCommand) {
  const auto& [make, failure] = GetParam();
  const Query query = make();
  Faults().FailNth(failure.operation, query.number, failure.result);
  EXPECT_EQ(Run(query.command.arguments),
            Around(query.command,
                   {std::string("CBESDatabase::") + query.function + ": " + failure.message},
                   failure.shown));
  EXPECT_LE(Statements().size(), query.number);
}

INSTANTIATE_TEST_SUITE_P(
    Steps, QueryFailureTest,
    ::testing::Combine(
        ::testing::Values(&ServersQuery, &CountQuery, &NamesQuery, &AgentsQuery),
        ::testing::Values(
            QueryFailure{"Command", "IDBCreateCommand::CreateCommand", "Failed to execute SQL : #",
                         0x8007000E, 0x8007000E},
            QueryFailure{"Statement", "ICommandText::SetCommandText", "Failed to execute SQL : #",
                         0x80040E1D, 0x80040E1D},
            QueryFailure{"Execution", "ICommand::Execute", "Failed to execute SQL : #", 0x80040E14,
                         0x80040E14},
            QueryFailure{"Columns", "IColumnsInfo::GetColumnInfo", "Failed to execute SQL : #",
                         0x80040E0C, 0x80040E0C},
            QueryFailure{"Accessor", "IAccessor::CreateAccessor", "Failed to execute SQL : #",
                         0x80040E21, 0x80040E21},
            QueryFailure{"FirstRow", "first-row", "MoveFirst failed : #", 0x80040E23, 0x80040E23},
            QueryFailure{"NextRow", "next-row", "MoveNext failed : #", 0x80004004, 0x80004004},
            QueryFailure{"ExtraColumn", "column-extra", "column count check failed", 1, kFail})),
    [](const auto& testCase) {
      return QueryName(std::get<0>(testCase.param)) + std::get<1>(testCase.param).name;
    });

INSTANTIATE_TEST_SUITE_P(
    TwoColumns, QueryFailureTest,
    ::testing::Combine(::testing::Values(&ServersQuery, &AgentsQuery),
                       ::testing::Values(QueryFailure{"LackingColumn", "column-lacking",
                                                      "column count check failed", 1, kFail})),
    [](const auto& testCase) {
      return QueryName(std::get<0>(testCase.param)) + std::get<1>(testCase.param).name;
    });

// Values that cannot be used. All of them are E_FAIL to the command.
struct ValueFailure : NamedCase {
  QueryMaker query;
  const char* operation;
  uint32_t status;
  const char* message;
};

class ValueFailureTest : public BesDatabaseTest,
                         public ::testing::WithParamInterface<ValueFailure> {};

TEST_P(ValueFailureTest, EndsTheQuery) {
  const ValueFailure& failure = GetParam();
  const Query query = failure.query();
  Faults().FailNth(failure.operation, 1, failure.status);
  EXPECT_EQ(
      Run(query.command.arguments),
      Around(query.command,
             {std::string("CBESDatabase::") + query.function + ": " + failure.message}, kFail));
}

INSTANTIATE_TEST_SUITE_P(
    Values, ValueFailureTest,
    ::testing::Values(
        ValueFailure{"IdNull", &ServersQuery, "value-null:Id", 1, "Failed to read Id column"},
        ValueFailure{"IdNotDelivered", &ServersQuery, "value-status:Id", kCantConvert,
                     "Failed to read Id column"},
        ValueFailure{"IdNameless", &ServersQuery, "column-nameless:Id", 1,
                     "Failed to read Id column"},
        ValueFailure{"MachineNameNull", &ServersQuery, "value-null:MachineName", 1,
                     "NULL server name"},
        ValueFailure{"MachineNameNotDelivered", &ServersQuery, "value-status:MachineName",
                     kUnavailable, "NULL server name"},
        ValueFailure{"MachineNameNameless", &ServersQuery, "column-nameless:MachineName", 1,
                     "NULL server name"},
        ValueFailure{"CountNull", &CountQuery, "value-null:1", 1, "Failed to read COUNT column"},
        ValueFailure{"CountNotDelivered", &CountQuery, "value-status:1", kCantConvert,
                     "Failed to read COUNT column"},
        ValueFailure{"UserNameNull", &NamesQuery, "value-null:UserName", 1, "NULL user name"},
        ValueFailure{"UserNameNotDelivered", &NamesQuery, "value-status:UserName", kUnavailable,
                     "NULL user name"},
        ValueFailure{"UserNameNameless", &NamesQuery, "column-nameless:UserName", 1,
                     "NULL user name"},
        ValueFailure{"AgentIdNull", &AgentsQuery, "value-null:AgentId", 1,
                     "Failed to read AgentId column"},
        ValueFailure{"AgentIdNotDelivered", &AgentsQuery, "value-status:AgentId", kCantConvert,
                     "Failed to read AgentId column"},
        ValueFailure{"AgentIdNameless", &AgentsQuery, "column-nameless:AgentId", 1,
                     "Failed to read AgentId column"},
        ValueFailure{"AgentsUserNameNull", &AgentsQuery, "value-null:UserName", 1,
                     "NULL user name"},
        ValueFailure{"AgentsUserNameNameless", &AgentsQuery, "column-nameless:UserName", 1,
                     "NULL user name"}),
    kByName);

TEST_F(BesDatabaseTest, OfARowWithoutAnythingTheIdIsMissedFirst) {
  Database().AddServer({std::nullopt, std::nullopt});
  EXPECT_EQ(Run("-listServers"), Text({"CBESDatabase::GetServers: Failed to read Id column"}));
}

// Rows before and behind the one that fails.

TEST_F(BesDatabaseTest, RowsBeforeANullNameAreKeptAndThoseBehindNotRead) {
  Database().AddServer({8, std::nullopt});
  Database().AddServer(9, L"BES09");
  EXPECT_EQ(RunClient("servers"),
            Text({"CBESDatabase::GetServers: NULL server name",
                  Utf8FromWide(ComputerName()) + ": 7", "servers = 0x80004005"}));
}

TEST_F(BesDatabaseTest, RowsBeforeANullUserAreKept) {
  Database().AddUser(User(std::nullopt, 200));
  AddUser(7, L"zoe@example.com", 300);
  EXPECT_EQ(RunClient("names 7 agents 7"),
            Text({"CBESDatabase::GetServerUserNames: NULL user name", "ann@example.com",
                  "bob@example.com", "names = 0x80004005",
                  "CBESDatabase::GetServerUserNamesByAgentId: NULL user name", "agent 200",
                  "200: ann@example.com", "200: bob@example.com", "agents = 0x80004005"}));
}

TEST_F(BesDatabaseTest, AUserWithoutAgentCountsForNone) {
  Database().AddUser(User(L"cid@example.com", std::nullopt));
  EXPECT_EQ(
      RunClient("agents 7"),
      Text({"CBESDatabase::GetServerUserNamesByAgentId: Failed to read AgentId column", "agent 200",
            "200: ann@example.com", "200: bob@example.com", "agents = 0x80004005"}));
}

TEST_F(BesDatabaseTest, RowsBeforeAFailedMoveAreKept) {
  Faults().FailNth("next-row", 2, 0x80004004);
  EXPECT_EQ(RunClient("names 7"),
            Text({"CBESDatabase::GetServerUserNames: MoveNext failed : 0x80004004",
                  "ann@example.com", "bob@example.com", "names = 0x80004004"}));
}

TEST_F(BesDatabaseTest, EmptyResultsAreSuccess) {
  Database().Run(L"DELETE FROM ServerConfig");
  Database().Run(L"DELETE FROM UserConfig");
  EXPECT_EQ(RunClient("servers count 7 names 7 agents 7"),
            Text({"servers = 0x0", "0", "count = 0x0", "names = 0x0", "agents = 0x0"}));
}

// Texts.

TEST_F(BesDatabaseTest, UsersAreListedInLowerCaseByAgent) {
  Database().Run(L"DELETE FROM UserConfig");
  AddUser(7, L"Alice", 3);
  AddUser(7, L"BOB", 3);
  EXPECT_EQ(RunClient("agents 7"), Text({"agent 3", "3: alice", "3: bob", "agents = 0x0"}));
}

TEST_F(BesDatabaseTest, UsersComeInRowOrderAndOnlyAToZAreFolded) {
  Database().Run(L"DELETE FROM UserConfig");
  AddUser(7, L"ZO\u00cb@Example.COM");
  AddUser(7, L"\u0391\u65e5\U0001F600Ann");
  AddUser(7, L"ann");
  AddUser(7, L"ANN");
  EXPECT_EQ(RunClient("names 7"),
            Text({Utf8FromWide(L"zo\u00cb@example.com"), Utf8FromWide(L"\u0391\u65e5\U0001F600ann"),
                  "ann", "ann", "names = 0x0"}));
}

TEST_F(BesDatabaseTest, NamesOf4000CharactersComeWhole) {
  Database().Run(L"DELETE FROM UserConfig");
  AddUser(7, std::wstring(3999, L'A') + L"Z");
  AddUser(7, L"bob");
  EXPECT_EQ(RunClient("names 7"), Text({std::string(3999, 'a') + "z", "bob", "names = 0x0"}));
}

TEST_F(BesDatabaseTest, NamesOfMoreThan4000CharactersAreCutTo4095) {
  Database().Run(L"DELETE FROM UserConfig");
  AddUser(7, std::wstring(4094, L'A') + L"Z");
  AddUser(7, std::wstring(4094, L'B') + L"YZ");
  AddUser(7, std::wstring(5000, L'C'));
  EXPECT_EQ(RunClient("names 7"), Text({std::string(4094, 'a') + "z", std::string(4094, 'b') + "y",
                                        std::string(4095, 'c'), "names = 0x0"}));
}

TEST_F(BesDatabaseTest, AShorterNameBehindALongerOneComesAlone) {
  Database().Run(L"DELETE FROM UserConfig");
  for (const wchar_t* name : {L"longer@example.com", L"b", L"", L"cid"}) AddUser(7, name);
  EXPECT_EQ(RunClient("names 7"), "longer@example.com\r\nb\r\n\r\ncid\r\nnames = 0x0\r\n");
}

// What providers are free to choose.

class ProviderOptionsTest : public BesDatabaseTest,
                            public ::testing::WithParamInterface<std::wstring> {};

TEST_P(ProviderOptionsTest, MakeNoDifference) {
  SetProviderOptions(GetParam());
  Database().AddServer(8, L"zo\u00eb");
  AddUser(8, L"cid@example.com", 0);
  AddUser(7, L"dan@example.com", 100);
  const std::string computer = Utf8FromWide(ComputerName());
  EXPECT_EQ(Run("-listServers -c"),
            Text({"Id: 7", "Users: 3", "MachineName: " + computer, " ", "Id: 8", "Users: 1",
                  "MachineName: " + Utf8FromWide(L"zo\u00eb"), " "}));
  EXPECT_EQ(Run({L"-listAgents", L"-s", ComputerName()}),
            Text({"AgentId: 100", "Users: 1", " ", "AgentId: 200", "Users: 2", " "}));
  EXPECT_EQ(Run("-assignAgents -p Main -e"),
            Text({"Base Agentid=200", "Number of Agents=2", "Assigned 2 of 2 users ...", "Done"}));
  EXPECT_EQ(Database().AgentOf(L"bob@example.com"), 201);
}

INSTANTIATE_TEST_SUITE_P(Options, ProviderOptionsTest,
                         ::testing::Values(L"integer=i2", L"integer=i4", L"integer=i8",
                                           L"integer=ui2", L"integer=ui4", L"integer=ui8",
                                           L"integer=ui1", L"integer=numeric", L"text=wstr",
                                           L"text=str", L"text=bstr", L"rows=1", L"hold=yes",
                                           L"accessor=rowset", L"expressions=named",
                                           L"rows=1;accessor=rowset;text=bstr;integer=i8",
                                           L"column:Id=i2;column:AgentId=numeric"),
                         [](const auto& testCase) {
                           std::string name = Utf8FromWide(testCase.param);
                           for (char& c : name) c = std::isalnum(c) ? c : '_';
                           return name;
                         });

class SignedOptionsTest : public BesDatabaseTest,
                          public ::testing::WithParamInterface<std::wstring> {};

TEST_P(SignedOptionsTest, NegativeNumbersKeepTheirSign) {
  SetProviderOptions(GetParam());
  Database().Run(L"DELETE FROM UserConfig");
  Database().AddServer(-9, L"BES09");
  AddUser(-9, L"ann@example.com", -100);
  AddUser(-9, L"bob@example.com", 100);
  EXPECT_EQ(Run("-listAgents -s BES09"),
            Text({"AgentId: -100", "Users: 1", " ", "AgentId: 100", "Users: 1", " "}));
}

INSTANTIATE_TEST_SUITE_P(Options, SignedOptionsTest,
                         ::testing::Values(L"integer=i1", L"integer=i2", L"integer=i4",
                                           L"integer=i8", L"integer=numeric"),
                         [](const auto& testCase) {
                           return Utf8FromWide(
                               testCase.param.substr(testCase.param.find(L'=') + 1));
                         });

// A number that does not fit is no number.
TEST_F(BesDatabaseTest, AnAgentBeyond32BitsCannotBeRead) {
  SetProviderOptions(L"integer=i8");
  Database().Run(L"UPDATE UserConfig SET AgentId=4294967296");
  EXPECT_EQ(Lines(RunClient("agents 7")).front(),
            "CBESDatabase::GetServerUserNamesByAgentId: Failed to read AgentId column");
}

// As SQLite has no such numbers, the table holds their digits.
class HugeNumberTest : public BesDatabaseTest {
 protected:
  void SetUp() override {
    BesDatabaseTest::SetUp();
    Database().Run(L"DROP TABLE UserConfig");
    Database().Run(
        L"CREATE TABLE UserConfig (ServerConfigId INTEGER, UserName TEXT, AgentId TEXT, "
        L"UserDeleteStatus INTEGER)");
    Database().Run(
        L"INSERT INTO UserConfig VALUES (7, '18446744073709551610', '18446744073709551615', 0)");
  }
};

TEST_F(HugeNumberTest, IsNoAgent) {
  SetProviderOptions(L"column:AgentId=ui8");
  EXPECT_EQ(RunClient("agents 7"),
            Text({"CBESDatabase::GetServerUserNamesByAgentId: Failed to read AgentId column",
                  "agents = 0x80004005"}));
}

TEST_F(HugeNumberTest, IsShownWholeAsAText) {
  SetProviderOptions(L"column:UserName=ui8");
  EXPECT_EQ(RunClient("names 7"), Text({"18446744073709551610", "names = 0x0"}));
}

}  // namespace
}  // namespace e2e
