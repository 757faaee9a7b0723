// No profile makes a cache whose records name children that it does not hold. What becomes of such
// a record is the source's own affair, so the source stands here itself.
#include "src/commands/assign_agents.cpp"

#include <gtest/gtest.h>

#include "tests/unit/captured_output.h"

namespace {

TEST(AssignEmbeddedStores, OneThatIsNotThereIsToldAndNeitherAssignedNorCounted) {
  StoreRecord ann;
  ann.EmbeddedChildren = {{1}, {2}, {3}};
  CStoreManager::StoreMap stores;
  stores[{1}].Email = L"bob@example.com";
  stores[{3}].Email = L"dan@example.com";
  std::vector<std::wstring> sent;
  AgentBatches batches(
      [&](const std::wstring& sqlText) {
        sent.push_back(sqlText);
        return S_OK;
      },
      stores.size(), S_OK);

  const CapturedOutput output;
  AssignEmbeddedStores(ann, stores, 201, batches);
  batches.Finish();
  EXPECT_EQ(sent, std::vector<std::wstring>{
                      L"UPDATE UserConfig SET AgentId=201 WHERE MailboxDN='bob@example.com';"
                      L"UPDATE UserConfig SET AgentId=201 WHERE MailboxDN='dan@example.com';"});
  EXPECT_EQ(output.Text(),
            L"Serious error: *** Embedded store not found ***\n"
            L"Assigned 2 of 2 users ...\n");
}

}  // namespace
