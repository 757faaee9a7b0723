#include "src/commands/find_users.h"

#include "src/commands/address_filter.h"
#include "src/commands/store_cache.h"
#include "src/frontend/console.h"
#include "src/frontend/usage.h"
#include "src/frontend/user_break.h"
#include "src/guards/mapi_frame.h"
#include "src/guards/switches.h"
#include "src/platform/text.h"

int qrvAdminFindUsers(int argc, wchar_t** argv, const wchar_t* programName) {
  std::wstring profileName;
  std::vector<std::wstring> fragments;
  ScanSwitches(argc, argv, {{L"-p", &profileName}, {L"-e", &fragments}, {L"-v", &VerboseOutput}});
  if (profileName.empty() || fragments.empty()) {
    PrintFindUsersUsage(programName);
    return 1;
  }
  return RunMapiCommand({[&] { return FindUsers(profileName, fragments); }, nullptr});
}

namespace {

using StoreMap = CStoreManager::StoreMap;

std::wstring QsfFileName(const StoreRecord& record) {
  const std::wstring path = platform::FromCodePage(record.QsfPath, CP_ACP);
  return std::wstring(platform::FileNamePart(path));
}

// The addresses of the stores embedded in `record`'s, joined with commas; "none" when there are
// none.
std::wstring EmbeddedUsers(const StoreRecord& record, const StoreMap& stores) {
  if (record.EmbeddedChildren.empty()) return L"none";
  std::wstring users;
  for (const EntryIdBytes& child : record.EmbeddedChildren) {
    const auto found = stores.find(child);
    if (found == stores.end()) {
      PrintLine(L"Serious error: *** Embedded store not found ***");
      continue;
    }
    if (!users.empty()) users += L",";
    users += found->second.Email;
  }
  return users;
}

void PrintFileStore(const StoreRecord& record, const StoreMap& stores) {
  PrintLine(L"Type: QSF store");
  PrintLine(L"QSF: %s", QsfFileName(record).c_str());
  PrintLine(L"Embedded stores: %s", EmbeddedUsers(record, stores).c_str());
}

void PrintEmbeddedStore(const StoreRecord& record, const StoreMap& stores) {
  PrintLine(L"Type: Embedded store");
  const auto parent = stores.find(record.ParentEntryId);
  if (parent == stores.end()) {
    PrintLine(L"Serious error: *** Parent store not found for '%s' ***", record.Email.c_str());
    return;
  }
  PrintLine(L"Parent store: %s", parent->second.Email.c_str());
  PrintLine(L"Parent QSF: %s", QsfFileName(parent->second).c_str());
}

void PrintStore(const StoreRecord& record, const StoreMap& stores) {
  PrintLine(L"Email: %s", record.Email.c_str());
  if (record.Kind == StoreKind::FileStore) {
    PrintFileStore(record, stores);
  } else {
    PrintEmbeddedStore(record, stores);
  }
  PrintLine(L" ");
}

}  // namespace

HRESULT FindUsers(const std::wstring& profileName, const std::vector<std::wstring>& fragments) {
  CStoreManager storeManager;
  storeManager.ProfileName = profileName;
  InstallConsoleCtrlHandler();
  const HRESULT hr = LoadStoreCache(storeManager, "FindUsers");
  if (FAILED(hr)) return hr;
  for (const auto& [entryId, record] : storeManager.Stores) {
    if (ContainsAny(record.Email, fragments)) PrintStore(record, storeManager.Stores);
  }
  return hr;
}
