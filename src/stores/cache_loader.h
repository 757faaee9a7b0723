// Reads a profile's stores through the MAPI administration interfaces.
#pragma once

#include <windows.h>

#include <string>

#include "src/console/console_format.h"
#include "src/platform/mapi.h"
#include "src/stores/store_manager.h"

// One load of CStoreManager::Stores. Its functions return whether the load goes on; `status_` is
// the status of the last call made, and what the load comes back with.
class CacheLoader {
 public:
  // `stores` is filled and must outlive the loader.
  explicit CacheLoader(CStoreManager::StoreMap& stores) : stores_(stores) {}

  // What CStoreManager::LoadCache says, on an empty map. To be called once.
  HRESULT Load(const std::wstring& profileName, bool includeRootStore);

 private:
  template <typename T>
  using ComPtr = platform::ComPtr<T>;

  // What becomes of the service at hand.
  enum class Outcome { kGoOn, kSkipService, kEndLoad };

  // The parts of a record that come before it is known what kind of store it is.
  struct Draft {
    std::wstring email;
    MAPIUID serviceUid;
  };

  bool OpenAdministration(const std::wstring& profileName);
  bool QueryServices(bool includeRootStore, platform::RowSet& services);
  bool LoadServices(const platform::RowSet& services);
  Outcome LoadService(const SRow& row, int index);
  Outcome ReadEmail(IProfSect* serviceSection, const char* serviceName, std::wstring& email);
  Outcome FindProvider(MAPIUID serviceUid, MAPIUID& providerUid);
  Outcome ReadProvider(MAPIUID providerUid, Draft draft);
  Outcome AddEmbeddedStore(Draft draft, EntryIdBytes entryId, MAPIUID parentProvider);
  Outcome AddFileStore(Draft draft, EntryIdBytes entryId, const SPropValue& path);
  void AddRecord(StoreRecord record);

  void LinkEmbeddedStores();
  void DeleteOrphan(const StoreRecord& orphan);

  // Prints `message` with the function's name and status_ when that is a failure, and says whether
  // it was one.
  bool Failed(LineFormat<const char*, HRESULT> message) const;

  CStoreManager::StoreMap& stores_;
  ComPtr<IProfAdmin> profileAdmin_;
  ComPtr<IMsgServiceAdmin> serviceAdmin_;
  HRESULT status_ = S_OK;
};
