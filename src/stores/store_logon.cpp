// The pooled store logon: the main thread hands users' mailboxes to five worker threads.

#include <algorithm>
#include <array>
#include <list>
#include <string>
#include <vector>

#include "src/console/console.h"
#include "src/console/user_break.h"
#include "src/platform/handle.h"
#include "src/platform/mapi.h"
#include "src/stores/store_logon_worker.h"
#include "src/stores/store_manager.h"

namespace {

using platform::ComPtr;

constexpr const char* kFunction = "CStoreManager::LogonToStores";

constexpr DWORD StoreLogonWorkerCount = 5;
// How long the opened stores are held, for the connector to finish setting them up.
constexpr DWORD kHoldMilliseconds = 10000;

constexpr ULONG kLogonFlags = MAPI_UNICODE | MAPI_NO_MAIL | MAPI_EXTENDED | MAPI_EXPLICIT_PROFILE |
                              MAPI_ALLOW_OTHERS | MAPI_NEW_SESSION;
constexpr ULONG kOpenDefaultStoreFlags =
    MDB_NO_MAIL | MDB_TEMPORARY | MAPI_BEST_ACCESS | MDB_NO_DIALOG;

using Slots = std::array<StoreLogonSlot, StoreLogonWorkerCount>;
using HeldStores = std::list<ComPtr<IMsgStore>>;

// The dispatcher's session and what it opens through it. Released in the reverse order.
struct MainLogon {
  ComPtr<IMAPISession> session;
  ComPtr<IMAPITable> storesTable;
  ComPtr<IMsgStore> defaultStore;
  ComPtr<IExchangeManageStore> manageStore;
};

HRESULT LogOn(const std::wstring& profileName, MainLogon& logon) {
  const HRESULT hr = MAPILogonEx(0, platform::MapiUnicodeText(profileName.c_str()), nullptr,
                                 kLogonFlags, &logon.session);
  if (FAILED(hr)) PrintLine(L"%hs: MAPILogonEx failed : 0x%x", kFunction, hr);
  return hr;
}

HRESULT QueryDefaultStore(MainLogon& logon, platform::RowSet& rows) {
  HRESULT hr = logon.session->GetMsgStoresTable(0, &logon.storesTable);
  if (FAILED(hr)) {
    PrintLine(L"%hs: GetMsgStoresTable failed : 0x%x", kFunction, hr);
    return hr;
  }
  SPropValue yes = {};
  yes.ulPropTag = PR_DEFAULT_STORE;
  yes.Value.b = TRUE;
  SRestriction isDefault = platform::PropertyEquals(yes);
  auto columns = platform::MakePropTags(PR_ENTRYID, PR_DEFAULT_STORE);
  hr = HrQueryAllRows(logon.storesTable.Get(), columns.Get(), &isDefault, nullptr, 0, rows.Put());
  // Kept: the text of another table's failure serves for this one too; console lines are an
  // interface.
  if (FAILED(hr)) PrintLine(L"%hs: HrQueryAllRows on MsgServiceTable failed : 0x%x", kFunction, hr);
  return hr;
}

// The first row's entry ID, or a property in error.
SPropValue FirstEntryId(const platform::RowSet& rows) {
  const SRow none = {};
  return platform::PropertyAt(rows.Rows().empty() ? none : rows.Rows().front(), 0);
}

HRESULT OpenDefaultStore(MainLogon& logon) {
  platform::RowSet rows;
  HRESULT hr = QueryDefaultStore(logon, rows);
  if (FAILED(hr)) return hr;
  const SPropValue value = FirstEntryId(rows);
  if (value.ulPropTag != PR_ENTRYID) {
    PrintLine(L"%hs: Failed to find default store", kFunction);
    return MAPI_E_NOT_FOUND;
  }
  const SBinary& entryId = value.Value.bin;
  hr = logon.session->OpenMsgStore(0, entryId.cb, reinterpret_cast<LPENTRYID>(entryId.lpb), nullptr,
                                   kOpenDefaultStoreFlags, &logon.defaultStore);
  if (FAILED(hr)) PrintLine(L"%hs: Failed to open default store : 0x%x", kFunction, hr);
  return hr;
}

// A look ahead: the workers will ask the default store for the same interface.
HRESULT QueryManageStore(MainLogon& logon) {
  const HRESULT hr =
      logon.defaultStore->QueryInterface(platform::kIidExchangeManageStore, &logon.manageStore);
  if (FAILED(hr)) {
    PrintLine(L"%hs: Failed query IExchangeManageStore interface : 0x%x", kFunction, hr);
  }
  return hr;
}

// The worker threads, one a slot, in the slots' order. The slots must outlive it.
class Workers {
 public:
  explicit Workers(Slots& slots) : slots_(slots) {}
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;
  // Lets every worker finish its job and waits for all of them to end.
  ~Workers() {
    for (const StoreLogonSlot& slot : slots_) SetEvent(slot.quit.Get());
    std::array<HANDLE, StoreLogonWorkerCount> handles = {};
    std::transform(threads_.begin(), threads_.begin() + started_, handles.begin(),
                   [](const platform::KernelHandle& thread) { return thread.Get(); });
    WaitForMultipleObjects(started_, handles.data(), TRUE, INFINITE);
  }

  // Starts all threads; the first that cannot be started ends it.
  HRESULT Start() {
    while (started_ < StoreLogonWorkerCount) {
      DWORD threadId = 0;
      threads_[started_] = platform::KernelHandle(
          CreateThread(nullptr, 0, StoreLogonThread, &slots_[started_], 0, &threadId));
      if (!threads_[started_]) {
        const HRESULT hr = HRESULT_FROM_WIN32(GetLastError());
        PrintLine(L"Failed to CreateThread : 0x%x", hr);
        return hr;
      }
      ++started_;
    }
    return S_OK;
  }

 private:
  Slots& slots_;
  std::array<platform::KernelHandle, StoreLogonWorkerCount> threads_;
  DWORD started_ = 0;
};

// What every job has in common.
struct JobSettings {
  const std::wstring& profileName;
  bool createMode;
  bool checkMode;
  const ComPtr<IMsgStore>& defaultStore;
};

// Hands out the jobs and collects the results of those whose slots come round again.
class Dispatcher {
 public:
  // Everything referred to must outlive the dispatcher.
  Dispatcher(Slots& slots, const JobSettings& settings, std::vector<HRESULT>& results,
             HeldStores& heldStores)
      : slots_(slots), settings_(settings), results_(results), heldStores_(heldStores) {}

  // Hands out a job for each name; MAPI_E_USER_CANCEL when Ctrl+C stopped it, else `status`.
  HRESULT Run(const std::vector<std::wstring>& userNames, HRESULT status) {
    for (size_t i = 0; i < userNames.size(); ++i) {
      const DWORD waited = WaitForReadySlot();
      if (UserBreakRequested()) return MAPI_E_USER_CANCEL;
      TakeSlot(waited);
      if (!slot_) continue;
      Announce(userNames[i]);
      HandOut(userNames[i], i);
    }
    return status;
  }

 private:
  // The lowest ready slot's index beyond WAIT_OBJECT_0, or what the failed wait returned.
  DWORD WaitForReadySlot() const {
    std::array<HANDLE, StoreLogonWorkerCount> events;
    std::transform(slots_.begin(), slots_.end(), events.begin(),
                   [](const StoreLogonSlot& slot) { return slot.ready.Get(); });
    return WaitForMultipleObjects(StoreLogonWorkerCount, events.data(), FALSE, INFINITE);
  }

  // Makes the slot that is ready the one in use. After a failed wait the slot used last is used
  // again, even if its worker has not finished; before any has been used there is none.
  void TakeSlot(DWORD waited) {
    if (waited >= WAIT_OBJECT_0 + StoreLogonWorkerCount) {
      PrintLine(L"Error WaitForMultipleObjects returned : 0x%x", waited);
      return;
    }
    slot_ = &slots_[waited - WAIT_OBJECT_0];
    Collect();
  }

  void Collect() {
    if (!slot_->busy) return;
    results_[slot_->jobIndex] = slot_->result;
    if (slot_->openedStore) heldStores_.push_back(slot_->openedStore);
  }

  void Announce(const std::wstring& userName) const {
    if (settings_.checkMode) {
      PrintLine(L"Checking store for '%s'", userName.c_str());
    } else if (settings_.createMode) {
      PrintLine(L"Creating store for '%s'", userName.c_str());
    }
  }

  void HandOut(const std::wstring& userName, size_t jobIndex) {
    slot_->busy = true;
    slot_->jobIndex = jobIndex;
    slot_->result = S_OK;
    slot_->checkMode = settings_.checkMode;
    slot_->profileName = settings_.profileName;
    slot_->userName = userName;
    slot_->defaultStore = settings_.defaultStore;
    slot_->openedStore.Reset();
    ResetEvent(slot_->ready.Get());
    SetEvent(slot_->go.Get());
  }

  Slots& slots_;
  const JobSettings settings_;
  std::vector<HRESULT>& results_;
  HeldStores& heldStores_;
  StoreLogonSlot* slot_ = nullptr;
};

// Runs the jobs to their end. Kept: the slots go with it, and with them the results and the stores
// of each slot's last job. Counting these would fail runs that passed so far.
HRESULT RunJobs(const std::vector<std::wstring>& userNames, const JobSettings& settings,
                HRESULT status, std::vector<HRESULT>& results, HeldStores& heldStores) {
  Slots slots;
  Workers workers(slots);
  const HRESULT started = workers.Start();
  if (FAILED(started)) return started;
  return Dispatcher(slots, settings, results, heldStores).Run(userNames, status);
}

}  // namespace

HRESULT CStoreManager::LogonToStores(const std::vector<std::wstring>& userStoreNames,
                                     bool createMode, bool checkMode,
                                     std::vector<HRESULT>& storeLogonResults) {
  storeLogonResults.resize(userStoreNames.size());
  MainLogon logon;
  HRESULT hr = LogOn(ProfileName, logon);
  if (SUCCEEDED(hr)) hr = OpenDefaultStore(logon);
  if (SUCCEEDED(hr)) hr = QueryManageStore(logon);
  if (FAILED(hr)) return hr;

  HeldStores heldStores;
  hr = RunJobs(userStoreNames, {ProfileName, createMode, checkMode, logon.defaultStore}, hr,
               storeLogonResults, heldStores);
  if (SUCCEEDED(hr)) Sleep(kHoldMilliseconds);
  return hr;
}
