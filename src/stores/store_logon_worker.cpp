#include "src/stores/store_logon_worker.h"

#include <array>
#include <new>
#include <optional>
#include <string>

#include "src/console/console.h"
#include "src/platform/text.h"

namespace {

using platform::ComPtr;
using platform::MapiBuffer;

constexpr const char* kFunction = "StoreLogonThread";

constexpr ULONG kLogonFlags = MAPI_UNICODE | MAPI_NO_MAIL | MAPI_EXTENDED | MAPI_EXPLICIT_PROFILE;
constexpr ULONG kOpenStoreFlags = MDB_NO_MAIL | MAPI_BEST_ACCESS | MDB_NO_DIALOG;

// A worker's own way to the mailbox. Lives until after the slot has been handed back.
struct Logon {
  ComPtr<IMAPISession> session;
  ComPtr<IExchangeManageStore> manageStore;
};

HRESULT LogOn(const StoreLogonSlot& slot, Logon& logon) {
  HRESULT hr = MAPILogonEx(0, platform::MapiUnicodeText(slot.profileName.c_str()), nullptr,
                           kLogonFlags, &logon.session);
  if (FAILED(hr)) {
    PrintLine(L"%hs: MAPILogonEx failed : 0x%x", kFunction, hr);
    return hr;
  }
  hr = slot.defaultStore->QueryInterface(platform::kIidExchangeManageStore, &logon.manageStore);
  if (FAILED(hr)) {
    PrintLine(L"%hs: Failed query IExchangeManageStore interface : 0x%x", kFunction, hr);
  }
  return hr;
}

// Opening a mailbox whose store does not exist makes the connector create it.
HRESULT OpenUserStore(StoreLogonSlot& slot, const Logon& logon, MapiBuffer<ENTRYID>& entryId) {
  std::optional<std::string> userName = platform::ToCodePage(slot.userName, CP_THREAD_ACP);
  char noStoreDn[] = "";
  ULONG entryIdSize = 0;
  HRESULT hr = logon.manageStore->CreateStoreEntryID(
      noStoreDn, userName ? userName->data() : nullptr, 0, &entryIdSize, entryId.Put());
  if (FAILED(hr)) {
    PrintLine(L"%hs: Failed to CreateStoreEntryID for user '%s' : 0x%x", kFunction,
              slot.userName.c_str(), hr);
    return hr;
  }
  hr = logon.session->OpenMsgStore(0, entryIdSize, entryId.Get(), nullptr, kOpenStoreFlags,
                                   &slot.openedStore);
  if (FAILED(hr)) {
    PrintLine(L"%hs: Failed to open delegate store for user '%s' : 0x%x", kFunction,
              slot.userName.c_str(), hr);
  }
  return hr;
}

HRESULT OpenRootFolder(const StoreLogonSlot& slot, ComPtr<IMAPIFolder>& root) {
  ULONG type = 0;
  const HRESULT hr =
      slot.openedStore->OpenEntry(0, nullptr, nullptr, MAPI_BEST_ACCESS, &type, &root);
  if (FAILED(hr)) {
    PrintLine(L"%hs: Failed to open root folder for user '%s' : 0x%x", kFunction,
              slot.userName.c_str(), hr);
  }
  return hr;
}

// Opens the folder of that name below `root`; makes it when it is not there.
HRESULT OpenFolder(IMAPIFolder* root, ULONG type, const wchar_t* name,
                   ComPtr<IMAPIFolder>& folder) {
  return root->CreateFolder(type, platform::MapiUnicodeText(name), nullptr, nullptr,
                            MAPI_UNICODE | OPEN_IF_EXISTS, &folder);
}

HRESULT OpenInfoFolder(const StoreLogonSlot& slot, IMAPIFolder* root) {
  ComPtr<IMAPIFolder> folder;
  const HRESULT hr = OpenFolder(root, FOLDER_GENERIC, L"BlackBerryHandheldInfo", folder);
  if (FAILED(hr)) {
    PrintLine(L"%hs: Failed to open BlackBerryHandHeldInfo folder for user '%s' : 0x%x", kFunction,
              slot.userName.c_str(), hr);
  }
  return hr;
}

HRESULT OpenSearchFolder(const StoreLogonSlot& slot, IMAPIFolder* root) {
  ComPtr<IMAPIFolder> folder;
  HRESULT hr = OpenFolder(root, FOLDER_SEARCH, L"BlackBerryMsgOnDeviceSearchFolder", folder);
  if (FAILED(hr)) {
    PrintLine(L"%hs: Failed to open BlackBerryMsgOnDeviceSearchFolder folder for user '%s' : 0x%x",
              kFunction, slot.userName.c_str(), hr);
    return hr;
  }
  ComPtr<IMAPITable> contents;
  hr = folder->GetContentsTable(MAPI_UNICODE, &contents);
  if (FAILED(hr)) {
    // Kept: the line names the first folder, although the table is the search folder's; console
    // lines are an interface.
    PrintLine(L"%hs: Failed to get BlackBerryHandHeldInfo contents table for user '%s' : 0x%x",
              kFunction, slot.userName.c_str(), hr);
  }
  return hr;
}

// The first failure is the job's result; the steps behind it are left out.
HRESULT DoJob(StoreLogonSlot& slot, Logon& logon) {
  MapiBuffer<ENTRYID> entryId;
  HRESULT hr = LogOn(slot, logon);
  if (SUCCEEDED(hr)) hr = OpenUserStore(slot, logon, entryId);
  if (FAILED(hr) || !slot.checkMode) return hr;

  ComPtr<IMAPIFolder> root;
  hr = OpenRootFolder(slot, root);
  if (SUCCEEDED(hr)) hr = OpenInfoFolder(slot, root.Get());
  if (SUCCEEDED(hr)) hr = OpenSearchFolder(slot, root.Get());
  return hr;
}

void RunJob(StoreLogonSlot& slot) {
  ResetEvent(slot.go.Get());
  Logon logon;
  try {
    slot.result = DoJob(slot, logon);
  } catch (const std::bad_alloc&) {
    slot.result = E_OUTOFMEMORY;
  }
  SetEvent(slot.ready.Get());
}

bool WaitForJob(const StoreLogonSlot& slot) {
  // The lowest signalled event wins: a job that was handed out is done even when quit is set.
  const std::array<HANDLE, 2> events = {slot.go.Get(), slot.quit.Get()};
  return WaitForMultipleObjects(static_cast<DWORD>(events.size()), events.data(), FALSE,
                                INFINITE) == WAIT_OBJECT_0;
}

}  // namespace

StoreLogonSlot::StoreLogonSlot()
    : go(platform::MakeManualResetEvent(false)),
      ready(platform::MakeManualResetEvent(true)),
      quit(platform::MakeManualResetEvent(false)) {}

DWORD WINAPI StoreLogonThread(LPVOID lpvStoreLogonThreadParams) {
  if (!lpvStoreLogonThreadParams) {
    PrintLine(L"%hs: lpvStoreLogonThreadParams is NULL", kFunction);
    return 0;
  }
  StoreLogonSlot& slot = *static_cast<StoreLogonSlot*>(lpvStoreLogonThreadParams);
  // A failure shows in the logon of every job.
  MAPIInitialize(nullptr);
  while (WaitForJob(slot)) RunJob(slot);
  MAPIUninitialize();
  return 0;
}
