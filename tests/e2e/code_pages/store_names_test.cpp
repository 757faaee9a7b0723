// -checkQsf, -compactQsf and -assignAgents: addresses, profiles and store files with names of the
// code page's letters and of others.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lab/common/compaction_plan.h"
#include "lab/common/installation.h"
#include "lab/common/qsf_file.h"
#include "tests/e2e/active_computer_name.h"
#include "tests/e2e/check_qsf_frame.h"
#include "tests/e2e/code_pages/names.h"
#include "tests/e2e/support/database_lab_test.h"
#include "tests/e2e/support/output.h"

namespace e2e {
namespace {

constexpr int32_t kServerId = 7;

class StoreNamesTest : public DatabaseLabTest {
 protected:
  StoreNamesTest() {
    profile_ = lab::Profile(letters_.word + kLacking);
    domain_.clear();
  }

  // The command on the profile.
  Words Line(const std::wstring& command, const Words& more = {}) const {
    return Words{command, L"-p", profile_.Name()} + more;
  }

  Strings Mailboxes() const {
    Strings mailboxes;
    for (const auto& call : Calls("IExchangeManageStore::CreateStoreEntryID")) {
      mailboxes.push_back(call.Argument("mailbox"));
    }
    return Sorted(mailboxes);
  }

  const Letters letters_ = LettersOfCodePage();
};

// The mailbox is named in the code page: the connector has none with a name that this lacks. Its
// result counts, since its worker gets another store while the others still take their time.
TEST_F(StoreNamesTest, ChecksShowAddressesAndNameMailboxesInTheCodePage) {
  AddRoot();
  std::vector<std::wstring> addresses = {std::wstring(kLacking) + L"-user"};
  for (const Name& name : letters_.hard) addresses.push_back(name.folded + L"-user");
  while (addresses.size() < 7) {
    addresses.push_back(letters_.capitals.folded + std::to_wstring(addresses.size()) + L"-user");
  }
  Strings expected = {CheckingLine(addresses.size())};
  Strings mailboxes = {Utf8FromWide(kLackingShown) + "-user"};
  for (const std::wstring& address : addresses) {
    Add(address);
    expected.push_back(StoreLine(address));
    if (address != addresses[0]) mailboxes.push_back(Utf8FromWide(address));
  }
  Faults().DelayEach("IMAPIFolder::CreateFolder", 500);
  const std::string output = Run(Line(L"-checkQsf", "-e user"));
  EXPECT_EQ(MainLines(output),
            expected + Strings({LogonFailedLine(addresses[0], 0x8004010f), kShuttingDown, kDone}));
  EXPECT_EQ(WorkerLines(output),
            Strings({WorkerLine("Failed to open delegate store", addresses[0], 0x8004010f)}));
  EXPECT_EQ(Mailboxes(), Sorted(mailboxes));
  for (size_t n = 1; n < addresses.size(); ++n) {
    lab::QsfContent content;
    EXPECT_EQ(lab::ReadQsf(FileOf(addresses[n]), &content), lab::QsfStatus::kOk);
    EXPECT_EQ(content.main.folders.size(), 2U) << Utf8FromWide(addresses[n]);
  }
}

TEST_F(StoreNamesTest, CompactionsShowAddresses) {
  Add(letters_.capitals.written, {.freeBytes = 4096});
  Add(kLacking, {.freeBytes = 4096});
  Add(letters_.word, {.freeBytes = 4096});
  lab::CompactionPlan plan;
  plan.Fails(letters_.word, 0x80004005).ErrorBox(kLacking, letters_.word);
  ASSERT_TRUE(plan.Save(Directory().wstring()));
  const std::string capitals = Utf8FromWide(letters_.capitals.folded);
  const std::string word = Utf8FromWide(letters_.word);
  EXPECT_EQ(Run(Line(L"-compactQsf", {L"-e", letters_.word, kLacking, letters_.capitals.folded})),
            Text({"compacting " + capitals, "Compacting done",
                  "compacting " + Utf8FromWide(kLacking), "Compacting done", "compacting " + word,
                  "Compact failed for '" + word + "' : 0x80004005"}));
  EXPECT_EQ(Run(Line(L"-compactQsf", {L"-e", letters_.capitals.written})), "");
}

// The server's name as the computer has it, capitalised from a to z and in nothing else.
TEST_F(StoreNamesTest, AgentsAreAssignedByAddress) {
  if (!RegistryNamesTheComputer()) GTEST_SKIP();
  const std::wstring& server = letters_.capitals.written;
  const ActiveComputerName computer(letters_.capitals.folded);
  const std::string notFound =
      Text({"Base Agentid=200", "Number of Agents=2",
            "AssignUsersToAgents: Failed to find server '" + Utf8FromWide(server) + "'"});
  EXPECT_EQ(Run(Line(L"-assignAgents")), notFound);

  Database().AddServer(kServerId, server);
  AddRoot();
  AddEmbedded(letters_.capitals.written, Add(kLacking));
  for (const std::wstring& address : {letters_.capitals.written, letters_.word}) {
    AddUser(kServerId, address);
  }
  AddUser(kServerId, kLacking);
  const std::string word = Utf8FromWide(letters_.word);
  EXPECT_EQ(Run(Line(L"-assignAgents")),
            Text({"Base Agentid=200", "Number of Agents=2",
                  "AssignUsersToAgents: Creating 1 MAPI stores...",
                  "Creating store for '" + word + "'", "Assigned 3 of 3 users ...", "Done"}));
  EXPECT_EQ(Mailboxes(), Strings({word}));
  EXPECT_EQ(
      Updates(),
      Strings({"UPDATE UserConfig SET AgentId=200 WHERE MailboxDN='" + Utf8FromWide(kLacking) +
               "';UPDATE UserConfig SET AgentId=200 WHERE MailboxDN='" +
               Utf8FromWide(letters_.capitals.folded) +
               "';UPDATE UserConfig SET AgentId=201 WHERE MailboxDN='" + word + "';"}));
  EXPECT_EQ(Database().AgentOf(kLacking), 200);
  EXPECT_EQ(Database().AgentOf(letters_.capitals.written), 200);
  EXPECT_EQ(Database().AgentOf(letters_.word), 201);
}

}  // namespace
}  // namespace e2e
