// -listServers and -listAgents: names of any letters, whatever the code page, pass through the
// database as they are.
#include <gtest/gtest.h>

#include <string>

#include "tests/e2e/code_pages/names.h"
#include "tests/e2e/support/database_lab_test.h"
#include "tests/e2e/support/output.h"

namespace e2e {
namespace {

class ListNamesTest : public DatabaseLabTest {
 protected:
  const Letters letters_ = LettersOfCodePage();
};

TEST_F(ListNamesTest, ServersAreShown) {
  const std::wstring own = L"A-" + letters_.capitals.written;
  const std::wstring other = L"B-" + std::wstring(kLacking);
  Database().AddServer(8, other);
  Database().AddServer(7, own);
  AddUser(7, letters_.word);
  AddUser(7, kLacking);
  EXPECT_EQ(Run("-listServers"), Text({"Id: 7", "MachineName: " + Utf8FromWide(own), " ", "Id: 8",
                                       "MachineName: " + Utf8FromWide(other), " "}));
  EXPECT_EQ(Run("-listServers -c"),
            Text({"Id: 7", "Users: 2", "MachineName: " + Utf8FromWide(own), " ", "Id: 8",
                  "Users: 0", "MachineName: " + Utf8FromWide(other), " "}));
}

// A server is looked for with a to z capitalised and nothing else.
TEST_F(ListNamesTest, AgentsAreShownOfTheServerWithTheName) {
  Database().AddServer(7, letters_.capitals.written + kLacking);
  AddUser(7, letters_.word, 3);
  AddUser(7, letters_.capitals.written, 3);
  AddUser(7, kLacking, 4);
  const std::wstring name = letters_.capitals.folded + kLacking;
  EXPECT_EQ(Run({L"-listAgents", L"-s", name}),
            Text({"AgentId: 3", "Users: 2", " ", "AgentId: 4", "Users: 1", " "}));
  EXPECT_EQ(Run({L"-listAgents", L"-s", name + L"q"}),
            Text({"qrvAdminListAgents: Failed to find server '" +
                  Utf8FromWide(letters_.capitals.written + kLacking) + "Q'"}));
}

}  // namespace
}  // namespace e2e
