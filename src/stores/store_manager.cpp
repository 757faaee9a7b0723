#include "src/stores/store_manager.h"

#include "src/stores/cache_loader.h"

HRESULT CStoreManager::LoadCache(bool includeRootStore) {
  Stores.clear();
  return CacheLoader(Stores).Load(ProfileName, includeRootStore);
}

void CStoreManager::CollectQsfPaths(std::map<std::string, std::string>& paths) const {
  paths.clear();
  for (const auto& [entryId, record] : Stores) {
    if (record.Kind == StoreKind::FileStore) paths.emplace(record.QsfPath, record.QsfPath);
  }
}
