#include "src/commands/agent_batches.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/unit/captured_output.h"

namespace {

// A database that notes what it is sent and answers with the results given, then with success.
class AgentBatchesTest : public ::testing::Test {
 protected:
  AgentBatches Batches(size_t storeCount, std::vector<HRESULT> answers = {}) {
    answers_ = std::move(answers);
    return {[this](const std::wstring& sqlText) {
              sent_.push_back(sqlText);
              return sent_.size() <= answers_.size() ? answers_[sent_.size() - 1] : S_OK;
            },
            storeCount, S_FALSE};
  }

  static void AssignMany(AgentBatches& batches, int count) {
    for (int i = 0; i < count; ++i) batches.Assign(200, L"ann@example.com");
  }

  std::vector<std::ptrdiff_t> StatementCounts() const {
    std::vector<std::ptrdiff_t> counts;
    for (const std::wstring& text : sent_) {
      counts.push_back(std::count(text.begin(), text.end(), L';'));
    }
    return counts;
  }

  CapturedOutput output_;
  std::vector<HRESULT> answers_;
  std::vector<std::wstring> sent_;
};

using Counts = std::vector<std::ptrdiff_t>;

TEST_F(AgentBatchesTest, JoinsStatementsWithNothingBetweenThem) {
  AgentBatches batches = Batches(2);
  batches.Assign(200, L"ann@example.com");
  batches.Assign(201, L"bob@example.com");
  EXPECT_TRUE(sent_.empty());
  batches.Finish();
  EXPECT_EQ(sent_, (std::vector<std::wstring>{
                       L"UPDATE UserConfig SET AgentId=200 WHERE MailboxDN='ann@example.com';"
                       L"UPDATE UserConfig SET AgentId=201 WHERE MailboxDN='bob@example.com';"}));
  EXPECT_EQ(output_.Text(), L"Assigned 2 of 2 users ...\n");
  EXPECT_EQ(batches.Status(), S_OK);
}

TEST_F(AgentBatchesTest, TwoHundredAndFiftyStoresMakeBatchesOf100And100And50) {
  AgentBatches batches = Batches(250);
  AssignMany(batches, 250);
  batches.Finish();
  EXPECT_EQ(StatementCounts(), (Counts{100, 100, 50}));
  EXPECT_EQ(output_.Text(),
            L"Assigned 100 of 250 users ...\n"
            L"Assigned 200 of 250 users ...\n"
            L"Assigned 250 of 250 users ...\n");
}

TEST_F(AgentBatchesTest, ExactlyAHundredLeaveNothingPending) {
  AgentBatches batches = Batches(100);
  AssignMany(batches, 100);
  EXPECT_EQ(sent_.size(), 1u);
  batches.Finish();
  EXPECT_EQ(sent_.size(), 1u);
}

TEST_F(AgentBatchesTest, WithoutStatementsNothingIsRun) {
  AgentBatches batches = Batches(0);
  batches.Finish();
  EXPECT_TRUE(sent_.empty());
  EXPECT_EQ(output_.Text(), L"");
  EXPECT_EQ(batches.Status(), S_FALSE);
}

TEST_F(AgentBatchesTest, AFailedBatchIsDroppedAndStillCounts) {
  AgentBatches batches = Batches(150, {E_FAIL});
  AssignMany(batches, 150);
  EXPECT_EQ(batches.Status(), E_FAIL);
  batches.Finish();
  EXPECT_EQ(StatementCounts(), (Counts{100, 50}));
  EXPECT_EQ(output_.Text(),
            L"AssignUsersToAgents: Failed to execute SQL : 0x80004005\n"
            L"Assigned 150 of 150 users ...\n");
}

TEST_F(AgentBatchesTest, LeavesQuotesAndLongAddressesAsTheyAre) {
  const std::wstring longAddress = std::wstring(5000, L'a') + L"o'hara";
  AgentBatches batches = Batches(1);
  batches.Assign(7, longAddress);
  batches.Finish();
  ASSERT_EQ(sent_.size(), 1u);
  EXPECT_EQ(sent_[0], L"UPDATE UserConfig SET AgentId=7 WHERE MailboxDN='" + longAddress + L"';");
}

}  // namespace
