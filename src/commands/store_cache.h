// How the commands fill the store cache.
#pragma once

#include <windows.h>

#include "src/stores/store_manager.h"

// Loads all of the profile's stores, the root store included. A failure is printed under the name
// `function` and returned.
HRESULT LoadStoreCache(CStoreManager& storeManager, const char* function);
