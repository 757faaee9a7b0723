#include "src/commands/embedded_stores.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/captured_output.h"

namespace {

constexpr const wchar_t* kNotFound = L"Serious error: *** Embedded store not found ***\n";

StoreRecord Store(const wchar_t* email, const std::vector<EntryIdBytes>& children = {}) {
  StoreRecord record;
  record.Email = email;
  record.EmbeddedChildren = children;
  return record;
}

// Ann's second child is not in the cache, which no profile can bring about.
class EmbeddedStoresTest : public ::testing::Test {
 protected:
  const StoreRecord ann_ = Store(L"ann", {{3}, {2}, {1}});
  const CStoreManager::StoreMap stores_ = {{{1}, Store(L"bob")}, {{3}, Store(L"dan")}};
};

TEST_F(EmbeddedStoresTest, AreVisitedInTheRecordsOrder) {
  const CapturedOutput output;
  std::wstring visited;
  ForEachEmbeddedStore(ann_, stores_, [&](const StoreRecord& child) {
    visited += child.Email + L" after " + output.Text();
  });
  EXPECT_EQ(visited, std::wstring(L"dan after bob after ") + kNotFound);
  EXPECT_EQ(output.Text(), kNotFound);
}

TEST_F(EmbeddedStoresTest, OneThatIsNotThereIsLeftOutOfTheList) {
  const CapturedOutput output;
  EXPECT_EQ(EmbeddedUsers(ann_, stores_), L"dan,bob");
  EXPECT_EQ(output.Text(), kNotFound);
}

TEST_F(EmbeddedStoresTest, TheListIsEmptyWhenNoneIsThere) {
  const CapturedOutput output;
  EXPECT_EQ(EmbeddedUsers(Store(L"ann", {{4}, {5}}), stores_), L"");
  EXPECT_EQ(output.Text(), std::wstring(kNotFound) + kNotFound);
}

TEST_F(EmbeddedStoresTest, ARecordWithoutAnySaysSo) {
  const CapturedOutput output;
  EXPECT_EQ(EmbeddedUsers(Store(L"ann"), stores_), L"none");
  EXPECT_EQ(output.Text(), L"");
}

}  // namespace
