// The connector's stores in one MAPI profile of the current Windows user.
#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <vector>

#include "src/stores/store_record.h"

// A cache of the profile's stores, and the pooled logon that opens or creates users' stores. Lives
// for one command, on the main thread, which has initialised MAPI. Failures print one line each and
// come back as HRESULTs.
class CStoreManager {
 public:
  using StoreMap = std::map<EntryIdBytes, StoreRecord>;

  CStoreManager() = default;
  virtual ~CStoreManager() = default;
  CStoreManager(const CStoreManager&) = delete;
  CStoreManager& operator=(const CStoreManager&) = delete;

  // Empties Stores and reads them anew from the profile, the root store only when
  // `includeRootStore`. An embedded store whose parent is not in Stores loses its message service
  // in the profile, while its record stays for this run. Returns the status of the last call that
  // was made: a service that was passed over because its last call failed makes the whole load fail
  // when it is the profile's last. On failure Stores holds what was read before it.
  HRESULT LoadCache(bool includeRootStore);

  // Replaces `paths` by the store files of the cached stores, each as key and value.
  void CollectQsfPaths(std::map<std::string, std::string>& paths) const;

  // Opens the mailbox of each of `userStoreNames` on five threads, which makes the connector create
  // the stores that do not exist, keeps the stores open for ten more seconds, and releases them.
  // `createMode` and `checkMode` choose the line printed for each store; `checkMode` also opens the
  // store's connector folders. `storeLogonResults` gets one status a name; those of the last jobs
  // of the threads are not collected and stay 0. Returns MAPI_E_USER_CANCEL after Ctrl+C, else
  // failures of the logon as a whole; a single store's failure is none.
  HRESULT LogonToStores(const std::vector<std::wstring>& userStoreNames, bool createMode,
                        bool checkMode, std::vector<HRESULT>& storeLogonResults);

  std::wstring ProfileName;
  StoreMap Stores;
};
