// Names in all scripts through an engine that knows them, whose text compares without regard to the
// case of any letter.
#include <gtest/gtest.h>

#include <string>

#include "lab/common/installation.h"
#include "tests/e2e/support/database_lab_test.h"
#include "tests/e2e/support/named_case.h"
#include "tests/e2e/support/output.h"

namespace e2e {
namespace {

struct Script : NamedCase {
  const wchar_t* word;      // as the profile and the command line have it
  const wchar_t* capitals;  // as the database has it
};

class LettersTest : public DatabaseLabTest, public ::testing::WithParamInterface<Script> {
 protected:
  int AssignedAgent(const std::wstring& address) {
    const lab::Profile profile(L"Main");
    profile.AddRootStore(L"bes@example.com", StorePath(L"bes.qsf"));
    profile.AddSecondaryStore(address, StorePath(L"user.qsf"));
    Database().AddServer(7, ComputerName());
    EXPECT_EQ(Run("-assignAgents -p Main -e"), Text({"Base Agentid=200", "Number of Agents=2",
                                                     "Assigned 1 of 1 users ...", "Done"}));
    return Database().Users(7).at(0).agentId.value_or(-1);
  }
};

TEST_P(LettersTest, ServersAreShownAndFound) {
  const std::wstring name = std::wstring(L"BES-") + GetParam().word;
  Database().AddServer(7, name);
  AddUser(7, GetParam().word, 3);
  EXPECT_EQ(Run("-listServers -c"),
            Text({"Id: 7", "Users: 1", "MachineName: " + Utf8FromWide(name), " "}));
  EXPECT_EQ(Run({L"-listAgents", L"-s", std::wstring(L"bes-") + GetParam().word}),
            Text({"AgentId: 3", "Users: 1", " "}));
}

TEST_P(LettersTest, MailboxesAreFoundInCapitals) {
  AddUser(7, std::wstring(GetParam().capitals) + L"@EXAMPLE.com");
  EXPECT_EQ(AssignedAgent(std::wstring(GetParam().word) + L"@example.com"), 200);
  EXPECT_EQ(Updates(), (Strings{"UPDATE UserConfig SET AgentId=200 WHERE MailboxDN='" +
                                Utf8FromWide(GetParam().word) + "@example.com';"}));
}

INSTANTIATE_TEST_SUITE_P(
    Scripts, LettersTest,
    ::testing::Values(Script{"Western", L"\u00fc\u00f1\u00f8", L"\u00dc\u00d1\u00d8"},
                      Script{"Greek", L"\u03b1\u03b2\u03b3", L"\u0391\u0392\u0393"},
                      Script{"Cyrillic", L"\u0438\u0432\u0430\u043d", L"\u0418\u0412\u0410\u041d"},
                      Script{"Hebrew", L"\u05d3\u05d5\u05d3", L"\u05d3\u05d5\u05d3"},
                      Script{"Japanese", L"\u30bd\u8868\u3042", L"\u30bd\u8868\u3042"},
                      Script{"Korean", L"\ud55c\uae00", L"\ud55c\uae00"},
                      Script{"Emoji", L"\U0001F600\U0001F468\u200d\U0001F469",
                             L"\U0001F600\U0001F468\u200d\U0001F469"},
                      Script{"Beyond16Bits", L"\U00020BB7\U0001043C", L"\U00020BB7\U00010414"}),
    kByName);

TEST_F(LettersTest, AnAccentMakesAnotherLetter) {
  AddUser(7, L"m\u00fcller@example.com", 5);
  EXPECT_EQ(AssignedAgent(L"muller@example.com"), 5);
}

}  // namespace
}  // namespace e2e
