#include "src/commands/embedded_stores.h"

#include "src/console/console.h"

void ForEachEmbeddedStore(const StoreRecord& parent, const CStoreManager::StoreMap& stores,
                          const std::function<void(const StoreRecord& child)>& use) {
  for (const EntryIdBytes& child : parent.EmbeddedChildren) {
    const auto found = stores.find(child);
    if (found == stores.end()) {
      PrintLine(L"Serious error: *** Embedded store not found ***");
    } else {
      use(found->second);
    }
  }
}

std::wstring EmbeddedUsers(const StoreRecord& parent, const CStoreManager::StoreMap& stores) {
  if (parent.EmbeddedChildren.empty()) return L"none";
  std::wstring users;
  ForEachEmbeddedStore(parent, stores, [&](const StoreRecord& child) {
    if (!users.empty()) users += L",";
    users += child.Email;
  });
  return users;
}
