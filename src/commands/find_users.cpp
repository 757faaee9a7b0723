// -findUsers: which store and file serve given addresses.
#include <windows.h>

#include <string>
#include <vector>

#include "src/commands/address_filter.h"
#include "src/commands/command.h"
#include "src/commands/embedded_stores.h"
#include "src/commands/help_screen.h"
#include "src/commands/store_cache.h"
#include "src/console/console.h"
#include "src/console/user_break.h"
#include "src/frame/mapi_frame.h"
#include "src/frame/switches.h"
#include "src/platform/text.h"

namespace {

using StoreMap = CStoreManager::StoreMap;

std::wstring QsfFileName(const StoreRecord& record) {
  const std::wstring path = platform::FromCodePage(record.QsfPath, CP_ACP);
  return std::wstring(platform::FileNamePart(path));
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

// Lists every connector store of the profile whose lower-cased address contains one of `fragments`
// (at least one; compared with letter case), in the cache's order. Returns the result of loading
// the cache. MAPI must be initialised on the calling thread.
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

void PrintFindUsersUsage(const wchar_t* programName) {
  PrintUsage(programName, L" -findUsers -p profileName -e email1 email2 ... [-v]",
             {kProfileOption, kEmailOption, kVerboseOption});
}

int qrvAdminFindUsers(int argc, wchar_t** argv, const wchar_t* programName) {
  std::wstring profileName;
  std::vector<std::wstring> fragments;
  ReadSwitches(argc, argv, {{L"-p", &profileName}, {L"-e", &fragments}, {L"-v", &VerboseOutput}});
  if (profileName.empty() || fragments.empty()) {
    PrintFindUsersUsage(programName);
    return 1;
  }
  return RunMapiCommand({[&] { return FindUsers(profileName, fragments); }, nullptr});
}

}  // namespace

extern const Command kFindUsers = {L"-findUsers", L"Find users", PrintFindUsersUsage,
                                   qrvAdminFindUsers};
