#include "src/commands/store_cache.h"

#include "src/console/console.h"

HRESULT LoadStoreCache(CStoreManager& storeManager, const char* function) {
  const HRESULT hr = storeManager.LoadCache(true);
  if (FAILED(hr)) PrintLine(L"%hs: storeManager LoadCache failed : 0x%x", function, hr);
  return hr;
}
