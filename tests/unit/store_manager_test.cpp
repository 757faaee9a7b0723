#include "src/stores/store_manager.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

StoreRecord FileStoreAt(const std::string& path) {
  StoreRecord record;
  record.QsfPath = path;
  return record;
}

StoreRecord EmbeddedRecord() {
  StoreRecord record;
  record.Kind = StoreKind::EmbeddedStore;
  return record;
}

TEST(StoreMap, IsOrderedByUnsignedBytesAShorterKeyFirst) {
  CStoreManager::StoreMap stores;
  const std::vector<EntryIdBytes> inOrder = {
      {}, {0x00}, {0x00, 0x00}, {0x01}, {0x7F}, {0x7F, 0xFF}, {0x80}, {0xFF}, {0xFF, 0x00}};
  std::for_each(inOrder.rbegin(), inOrder.rend(),
                [&](const EntryIdBytes& key) { stores.emplace(key, StoreRecord{}); });
  std::vector<EntryIdBytes> keys;
  for (const auto& [key, record] : stores) keys.push_back(key);
  EXPECT_EQ(keys, inOrder);
}

TEST(CollectQsfPaths, TakesTheFileStoresOnly) {
  CStoreManager manager;
  manager.Stores.emplace(EntryIdBytes{1}, FileStoreAt("c:\\qsf\\b.qsf"));
  manager.Stores.emplace(EntryIdBytes{2}, EmbeddedRecord());
  manager.Stores.emplace(EntryIdBytes{3}, FileStoreAt("c:\\qsf\\a.qsf"));
  manager.Stores.emplace(EntryIdBytes{4}, FileStoreAt("c:\\qsf\\b.qsf"));
  std::map<std::string, std::string> paths = {{"old", "old"}};
  manager.CollectQsfPaths(paths);
  EXPECT_EQ(paths, (std::map<std::string, std::string>{{"c:\\qsf\\a.qsf", "c:\\qsf\\a.qsf"},
                                                       {"c:\\qsf\\b.qsf", "c:\\qsf\\b.qsf"}}));
}

TEST(CollectQsfPaths, OfAnEmptyCacheIsEmpty) {
  std::map<std::string, std::string> paths = {{"old", "old"}};
  CStoreManager().CollectQsfPaths(paths);
  EXPECT_TRUE(paths.empty());
}

}  // namespace
