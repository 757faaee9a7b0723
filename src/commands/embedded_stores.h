// The stores embedded in another, as the cache knows them.
#pragma once

#include <functional>
#include <string>

#include "src/stores/store_manager.h"

// Calls `use` with each store embedded in `parent`'s, in the record's order. One that is not among
// `stores` is told in a line and passed over.
void ForEachEmbeddedStore(const StoreRecord& parent, const CStoreManager::StoreMap& stores,
                          const std::function<void(const StoreRecord& child)>& use);

// The addresses of these stores, joined with commas; "none" when the record names none.
std::wstring EmbeddedUsers(const StoreRecord& parent, const CStoreManager::StoreMap& stores);
