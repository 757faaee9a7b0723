// -listServers and -listAgents with each of their calls failing once.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/proof/database_steps.h"

namespace e2e {
namespace {

// What abort() ends a program with.
constexpr DWORD kAborted = 3;

struct ServerRow {
  int id;
  const char* name;
  std::vector<int> agents;  // of its users
};

class ListSweep : public SystemSweep<DatabaseLabTest> {
 protected:
  void SetUp() override {
    DatabaseLabTest::SetUp();
    for (const ServerRow& server : Servers()) {
      Database().AddServer(server.id, WideFromUtf8(server.name));
      int user = 0;
      for (const int agent : server.agents) {
        AddUser(server.id, L"user" + std::to_wstring(++user) + L"@example.com", agent);
      }
    }
    // What else there is: nobody's users, and a server of another kind.
    AddUser(8, L"nobody@example.com", 200);
    Database().AddServer({12, L"OTHER", L"Domino"});
  }

  // By their names.
  static const std::vector<ServerRow>& Servers() {
    static const std::vector<ServerRow> kServers = {
        {7, "BES01", {201, 200, 201}}, {9, "BES02", {}}, {11, "bes03", {400}}};
    return kServers;
  }

  // Nothing is changed by these commands.
  void Restore() override {}
  void CheckUndamaged() override {
    EXPECT_EQ(Database().Users().size(), 5U);
    EXPECT_EQ(Database().Users(7).at(0).agentId, 201);
  }
  void CheckState() override { CheckUndamaged(); }
  DWORD ExitCode(const FailingCall&) const override { return thrown_ ? kAborted : 0; }

  bool thrown_ = false;
};

class ListServersFaultSweepTest : public ListSweep {
 protected:
  RunResult RunCommand() override { return RunAdmin("-listServers -c"); }

  Strings Model(FailingCall& fails) override {
    if (fails("CoInitialize")) {
      return {"qrvAdminListServers: CoInitialize failed : " + lab::HexNumber(kInjected)};
    }
    Strings lines;
    DatabaseSteps database(fails, lines, false);
    bool goesOn = database.Read("GetServers", Servers().size(), [](size_t) {});
    for (const ServerRow& server : Servers()) {
      if (goesOn) goesOn = database.Read("CountServerUsers", 1, [](size_t) {});
      if (!goesOn) break;
      lines = lines + Strings{"Id: " + std::to_string(server.id),
                              "Users: " + std::to_string(server.agents.size()),
                              std::string("MachineName: ") + server.name, " "};
    }
    thrown_ = database.HasThrown();
    return lines;
  }
};

class ListAgentsFaultSweepTest : public ListSweep {
 protected:
  RunResult RunCommand() override { return RunAdmin("-listAgents -v -s bes01"); }

  Strings Model(FailingCall& fails) override {
    const std::string function = "qrvAdminListAgents: ";
    if (fails("CoInitialize")) {
      return {function + "CoInitialize failed : " + lab::HexNumber(kInjected), "Exiting."};
    }
    Strings lines;
    DatabaseSteps database(fails, lines, true);
    if (!database.Read("GetServers", Servers().size(), [](size_t) {})) {
      thrown_ = database.HasThrown();
      if (thrown_) return lines;
      lines.push_back(function + "GetServers failed : " + lab::HexNumber(database.Result()));
    } else if (!database.Read("GetServerUserNamesByAgentId", Servers()[0].agents.size(),
                              [](size_t) {})) {
      lines.push_back(function +
                      "GetServerUserNamesByAgentId failed : " + lab::HexNumber(database.Result()));
    } else {
      lines = lines + Strings{"AgentId: 200", "Users: 1", " ", "AgentId: 201", "Users: 2", " "};
    }
    thrown_ = false;
    return lines + Strings{"Exiting."};
  }
};

const auto kKinds =
    ::testing::Values(kRegistryCalls, kOutputCalls, kComCalls, kProviderCalls, kProviderReleases);

TEST_P(ListServersFaultSweepTest, EachCall) {
  if (GetParam().name == std::string_view(kProviderReleases.name)) AllowLeaks();
  Sweep("-listServers", GetParam());
}
TEST_P(ListAgentsFaultSweepTest, EachCall) {
  if (GetParam().name == std::string_view(kProviderReleases.name)) AllowLeaks();
  Sweep("-listAgents", GetParam());
}

INSTANTIATE_TEST_SUITE_P(Kinds, ListServersFaultSweepTest, kKinds, kByName);
INSTANTIATE_TEST_SUITE_P(Kinds, ListAgentsFaultSweepTest, kKinds, kByName);

class ListServersWholeFaultSweepTest : public ListServersFaultSweepTest {};
class ListAgentsWholeFaultSweepTest : public ListAgentsFaultSweepTest {};

const std::vector<CallKind> kSwept = {kRegistryCalls, kOutputCalls,      kComCalls,
                                      kProviderCalls, kProviderReleases, kCloseCalls};

TEST_P(ListServersWholeFaultSweepTest, MemoryRunsOut) { SweepMemory("-listServers"); }
TEST_P(ListServersWholeFaultSweepTest, NoCallIsLeftOut) { ExpectSwept(kSwept); }
TEST_P(ListAgentsWholeFaultSweepTest, MemoryRunsOut) { SweepMemory("-listAgents"); }
TEST_P(ListAgentsWholeFaultSweepTest, NoCallIsLeftOut) { ExpectSwept(kSwept); }

INSTANTIATE_TEST_SUITE_P(Kinds, ListServersWholeFaultSweepTest, ::testing::Values(kMemoryCalls),
                         kByName);
INSTANTIATE_TEST_SUITE_P(Kinds, ListAgentsWholeFaultSweepTest, ::testing::Values(kMemoryCalls),
                         kByName);

}  // namespace
}  // namespace e2e
