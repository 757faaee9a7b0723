// -compactQsf: the connector compacts its stores.
#include <windows.h>

#include <string>
#include <vector>

#include "src/commands/address_filter.h"
#include "src/commands/command.h"
#include "src/commands/compact_thread.h"
#include "src/commands/dialog_watch.h"
#include "src/commands/help_screen.h"
#include "src/commands/store_cache.h"
#include "src/console/console.h"
#include "src/console/user_break.h"
#include "src/frame/mapi_frame.h"
#include "src/frame/switches.h"
#include "src/platform/handle.h"
#include "src/platform/mapi.h"
#include "src/stores/profile_admin.h"

namespace {

using platform::ComPtr;

constexpr const char* kFunction = "CompactQsf";
constexpr DWORD kPollMilliseconds = 100;

// Watches the thread's dialogs until it has ended, and once more then.
void WatchDialogs(HANDLE thread, DWORD threadId) {
  DWORD waited = WAIT_TIMEOUT;
  while (waited == WAIT_TIMEOUT) {
    waited = WaitForSingleObject(thread, kPollMilliseconds);
    CloseStrayDialog(threadId);
  }
}

void CompactStore(const StoreRecord& record, const std::wstring& profileName, HWND parentWindow) {
  CompactQsfThreadParams params;
  params.parentWindow = parentWindow;
  params.profileName = profileName;
  params.serviceUid = record.ServiceUid;
  PrintLine(L"compacting %s", record.Email.c_str());
  {
    DWORD threadId = 0;
    const platform::KernelHandle thread(
        CreateThread(nullptr, 0, CompactQsfThread, &params, 0, &threadId));
    if (!thread) return;
    WatchDialogs(thread.Get(), threadId);
  }
  if (FAILED(params.result)) {
    PrintLine(L"Compact failed for '%s' : 0x%x", record.Email.c_str(), params.result);
  } else {
    PrintLine(L"Compacting done");
  }
}

void CompactStores(const CStoreManager& storeManager, const std::vector<std::wstring>& fragments) {
  const HWND parentWindow = GetTopWindow(nullptr);
  for (const auto& [entryId, record] : storeManager.Stores) {
    if (UserBreakRequested()) return;
    if (record.Kind != StoreKind::FileStore || !IsSelected(record.Email, fragments)) continue;
    CompactStore(record, storeManager.ProfileName, parentWindow);
  }
}

// Has the connector compact, one after the other, the file of every store of the profile whose
// address contains one of `fragments` (taken as typed; none means all). Embedded stores have no
// file and are passed over. Ctrl+C ends it before the next store. A store that fails is reported
// and does not change the result: that of the last set-up step. MAPI must be initialised on the
// calling thread. After a failure ahead of opening the profile's services COM stays initialised.
HRESULT CompactQsf(const std::wstring& profileName, const std::vector<std::wstring>& fragments) {
  CStoreManager storeManager;
  storeManager.ProfileName = profileName;
  // These show that the profile's services can be had; each compaction thread opens its own. Kept:
  // released only after COM has ended. They are MAPI's, which the frame ends later still.
  ComPtr<IProfAdmin> profileAdmin;
  ComPtr<IMsgServiceAdmin> serviceAdmin;
  // Kept: twice, so that a verbose run says it in two lines; console lines are an interface.
  InstallConsoleCtrlHandler();
  InstallConsoleCtrlHandler();

  HRESULT hr = CoInitialize(nullptr);
  if (FAILED(hr)) {
    PrintLine(L"%hs: CoInitialize failed : 0x%x", kFunction, hr);
    return hr;
  }
  hr = LoadStoreCache(storeManager, kFunction);
  if (SUCCEEDED(hr)) hr = OpenProfileAdmin(kFunction, profileAdmin);
  // Kept: without CoUninitialize, which only a run that asks for the profile's services calls. The
  // process ends soon.
  if (FAILED(hr)) return hr;
  hr = OpenServiceAdmin(profileAdmin.Get(), profileName, kFunction, serviceAdmin);
  if (SUCCEEDED(hr)) CompactStores(storeManager, fragments);
  CoUninitialize();
  return hr;
}

void PrintCompactQsfUsage(const wchar_t* programName) {
  PrintUsage(programName, L" -compactQsf -p profileName [-e email1 email2 ...] [-v]",
             {kProfileOption, kEmailOption, kRestartOption, kVerboseOption});
}

int qrvAdminCompactQsf(int argc, wchar_t** argv, const wchar_t* programName) {
  std::wstring profileName;
  std::vector<std::wstring> fragments;
  bool restart = false;
  ReadSwitches(
      argc, argv,
      {{L"-p", &profileName}, {L"-e", &fragments}, {L"-c", &restart}, {L"-v", &VerboseOutput}});
  if (profileName.empty()) {
    PrintCompactQsfUsage(programName);
    return 1;
  }
  return RunExclusiveMapiCommand(
      {[&] { return CompactQsf(profileName, fragments); }, [&](HRESULT) { return restart; }});
}

}  // namespace

extern const Command kCompactQsf = {L"-compactQsf", L"Compact QSFs", PrintCompactQsfUsage,
                                    qrvAdminCompactQsf};
