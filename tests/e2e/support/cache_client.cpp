// A program that loads the product's store cache of a profile and shows what is in it. Its
// arguments are the profile and how often it is loaded. For each load it prints the result and, on
// success or not, the stores that the cache then holds, each with the number of stores linked to
// it:
//
//   load = 0x0
//   ann@example.com 1
//   bob@example.com 0
#include <windows.h>

#include <string>

#include "src/console/console.h"
#include "src/platform/mapi.h"
#include "src/stores/store_manager.h"

namespace {

void LoadAndShow(CStoreManager& storeManager) {
  PrintLine(L"load = 0x%x", storeManager.LoadCache(true));
  for (const auto& [entryId, record] : storeManager.Stores) {
    PrintLine(L"%s %d", record.Email.c_str(), static_cast<int>(record.EmbeddedChildren.size()));
  }
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc != 3 || MAPIInitialize(nullptr) != S_OK) return 1;
  SetUpConsole();
  CStoreManager storeManager;
  storeManager.ProfileName = argv[1];
  for (int times = std::stoi(argv[2]); times > 0; --times) LoadAndShow(storeManager);
  MAPIUninitialize();
  return 0;
}
