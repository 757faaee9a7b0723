// -assignAgents and the lists when the database itself refuses: what ran before stays done, and the
// reason comes through as the provider's result.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lab/common/installation.h"
#include "tests/e2e/support/database_lab_test.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/support/output.h"

namespace e2e {
namespace {

constexpr int32_t kServerId = 7;
constexpr uint32_t kTimeForTheTest = 5000;  // milliseconds in which it gets at the database

using Agents = std::vector<std::optional<int32_t>>;

Strings Assignment(const Strings& lines) {
  return Strings{"Base Agentid=200", "Number of Agents=2"} + lines + Strings{"Done"};
}

Strings Failed(const std::string& result) {
  return {"CBESDatabase::Execute: Failed to execute SQL : " + result,
          "AssignUsersToAgents: Failed to execute SQL : " + result};
}

class BatchFailuresTest : public DatabaseLabTest {
 protected:
  void SetUp() override {
    DatabaseLabTest::SetUp();
    Database().AddServer(kServerId, ComputerName());
    profile_.AddRootStore(L"bes@example.com", StorePath(L"bes.qsf"));
  }

  // A user with a store.
  void Add(const std::wstring& address) {
    AddUser(kServerId, address);
    profile_.AddSecondaryStore(address, StorePath(address + L".qsf"));
  }

  // user1@example.com to user<count>@example.com, with stores that compare in this order.
  void AddSampleUsers(uint32_t count) {
    Database().AddSampleUsers(kServerId, count);
    std::vector<std::wstring> addresses;
    for (uint32_t n = 1; n <= count; ++n) {
      addresses.push_back(L"user" + std::to_wstring(n) + L"@example.com");
    }
    profile_.AddSecondaryStores(addresses, Directory().wstring());
  }

  // The agents of user<first>@example.com and of those behind.
  Agents AgentsFrom(uint32_t first, uint32_t last) {
    Agents agents;
    for (uint32_t n = first; n <= last; ++n) {
      agents.push_back(Database().AgentOf(L"user" + std::to_wstring(n) + L"@example.com"));
    }
    return agents;
  }

  // What a run prints. Something is done to the database when it has printed `line` and is about to
  // execute its nth command.
  template <class Action>
  Strings RunAround(const Words& arguments, uint32_t command, const std::string& line,
                    Action action) {
    Faults().DelayNth("ICommand::Execute", command, kTimeForTheTest);
    RunningProgram program = StartAdmin(arguments);
    EXPECT_TRUE(program.WaitForOutput(line + "\r\n"));
    action();
    const RunResult result = program.Wait();
    EXPECT_EQ(result.exitCode, 0U);
    return Lines(result.output);
  }

  // The same with an assignment to 150 users, between the first batch and the second.
  template <class Action>
  Strings AssignAround(Action action) {
    AddSampleUsers(150);
    return RunAround({L"-assignAgents", L"-p", L"Main"}, 4, "Assigned 100 of 150 users ...",
                     action);
  }

  // Ends all connections but the test's own.
  void EndConnections() {
    Database().Run(
        L"SELECT pg_terminate_backend(pid) FROM pg_stat_activity "
        L"WHERE backend_type='client backend' AND pid<>pg_backend_pid()");
  }

  const lab::Profile profile_{L"Main"};
};

// What the table holds the statements to, and how it looks to the client when one breaks it.
struct Rule : NamedCase {
  const wchar_t* condition;
  const char* result;
};

class BatchRuleTest : public BatchFailuresTest, public ::testing::WithParamInterface<Rule> {
 protected:
  void Hold(const std::wstring& condition) {
    Database().Run(L"ALTER TABLE UserConfig ADD CHECK (" + condition + L")");
  }
};

TEST_P(BatchRuleTest, StatementsBeforeTheOneThatFailsStayDone) {
  AddSampleUsers(150);
  Hold(GetParam().condition);
  EXPECT_EQ(Lines(Run("-assignAgents -p Main")),
            Assignment(Strings{"Assigned 100 of 150 users ..."} + Failed(GetParam().result)));
  EXPECT_EQ(AgentsFrom(1, 2), (Agents{200, 201}));
  EXPECT_EQ(AgentsFrom(99, 104), (Agents{200, 201, 200, 201, 0, 0}));
  EXPECT_EQ(AgentsFrom(150, 150), (Agents{0}));
  EXPECT_EQ(Updates().size(), 2U);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, BatchRuleTest,
    ::testing::Values(
        Rule{"Constraint", L"AgentId=0 OR MailboxDN<>'user103@example.com'", "0x80040e2f"},
        Rule{"Arithmetic", L"MailboxDN<>'user103@example.com' OR 1/(AgentId-200) IS NOT NULL",
             "0x80040e14"}),
    kByName);

TEST_F(BatchFailuresTest, ATableThatGoesAwayIsMissed) {
  const Strings lines =
      AssignAround([&] { Database().Run(L"ALTER TABLE UserConfig RENAME TO Gone"); });
  EXPECT_EQ(lines, Assignment(Strings{"Assigned 100 of 150 users ..."} + Failed("0x80040e37")));
  Database().Run(L"ALTER TABLE Gone RENAME TO UserConfig");
  EXPECT_EQ(AgentsFrom(99, 102), (Agents{200, 201, 0, 0}));
}

TEST_F(BatchFailuresTest, AServerThatGoesAwayIsMissed) {
  const Strings lines = AssignAround([&] { EndConnections(); });
  EXPECT_EQ(lines, Assignment(Strings{"Assigned 100 of 150 users ..."} + Failed("0x80004005")));
  EXPECT_EQ(AgentsFrom(99, 102), (Agents{200, 201, 0, 0}));
}

TEST_F(BatchFailuresTest, ASingleStatementMissesTheServerToo) {
  Database().AddServer(kServerId + 1, L"~");
  const Strings first = {"Id: 7", "Users: 0", "MachineName: " + Utf8FromWide(ComputerName()), " "};
  EXPECT_EQ(RunAround({L"-listServers", L"-c"}, 3, first.front(), [&] { EndConnections(); }),
            first + Strings{"CBESDatabase::CountServerUsers: Failed to execute SQL : 0x80004005"});
}

// The quotes of two addresses close each other: the batch ends well and is no SQL.
TEST_F(BatchFailuresTest, ABatchThatIsNoSqlDoesNotRunAtAll) {
  for (const wchar_t* name : {L"user1@example.com", L"o'brien", L"o'hara"}) Add(name);
  EXPECT_EQ(Lines(Run("-assignAgents -p Main")), Assignment(Failed("0x80040e14")));
  EXPECT_EQ(AgentsFrom(1, 1), (Agents{0}));
}

TEST_F(BatchFailuresTest, ListsMissTheirTables) {
  Database().Run(L"DROP TABLE UserConfig");
  EXPECT_EQ(Run("-listServers -c"),
            Text({"CBESDatabase::CountServerUsers: Failed to execute SQL : 0x80040e37"}));
  Database().Run(L"DROP TABLE ServerConfig");
  EXPECT_EQ(Run("-listServers"),
            Text({"CBESDatabase::GetServers: Failed to execute SQL : 0x80040e37"}));
}

// The connection string names another server, database or user, which is not there.
class NoConnectionTest : public DatabaseLabTest,
                         public ::testing::WithParamInterface<const wchar_t*> {};

TEST_P(NoConnectionTest, CannotBeOpened) {
  const std::wstring name = GetParam();
  std::wstring connection = lab::OdbcConnectionString();
  connection.replace(connection.find(name + L'='), name.size() + 1, name + L"=no-");
  RunOptions options;
  options.environment.emplace(L"QRVLAB_ODBC", connection);
  EXPECT_EQ(Run("-listServers", options),
            Text({"CBESDatabase::Connect: OpenFromInitializationString failed : 0x80004005",
                  "CBESDatabase::GetServers: Connect failed : 0x80004005"}));
}

INSTANTIATE_TEST_SUITE_P(Unknown, NoConnectionTest,
                         ::testing::Values(L"Server", L"Database", L"Uid"),
                         [](const auto& test) { return Utf8FromWide(test.param); });

}  // namespace
}  // namespace e2e
