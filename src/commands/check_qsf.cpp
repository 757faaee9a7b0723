// -checkQsf: whether the connector's stores open.
#include <windows.h>

#include <string>
#include <vector>

#include "src/commands/address_filter.h"
#include "src/commands/command.h"
#include "src/commands/help_screen.h"
#include "src/commands/store_cache.h"
#include "src/console/console.h"
#include "src/console/user_break.h"
#include "src/frame/mapi_frame.h"
#include "src/frame/switches.h"

namespace {

constexpr const char* kFunction = "CheckQsf";

std::vector<std::wstring> SelectAddresses(const CStoreManager& storeManager,
                                          const std::vector<std::wstring>& fragments) {
  std::vector<std::wstring> addresses;
  for (const auto& [entryId, record] : storeManager.Stores) {
    if (IsSelected(record.Email, fragments)) addresses.push_back(record.Email);
  }
  return addresses;
}

HRESULT ReportResults(const std::vector<std::wstring>& addresses,
                      const std::vector<HRESULT>& results) {
  HRESULT overall = S_OK;
  for (size_t i = 0; i < addresses.size(); ++i) {
    if (SUCCEEDED(results[i])) continue;
    PrintLine(L"%hs: Logon failed for '%s' : 0x%x", kFunction, addresses[i].c_str(), results[i]);
    overall = E_FAIL;
  }
  if (SUCCEEDED(overall)) PrintLine(L"All stores are OK");
  return overall;
}

// Opens every connector store of the profile, or those whose address contains one of
// `fragments` (taken as typed; none means all), and reports the ones that fail. Returns S_OK,
// E_FAIL when a store failed, or the failure that kept the check from running. The results of the
// last jobs of the pooled logon do not count. Takes ten seconds beyond the stores' own time. MAPI
// must be initialised on the calling thread.
HRESULT CheckQsf(const std::wstring& profileName, const std::vector<std::wstring>& fragments) {
  InstallConsoleCtrlHandler();
  CStoreManager storeManager;
  storeManager.ProfileName = profileName;
  HRESULT hr = LoadStoreCache(storeManager, kFunction);
  if (FAILED(hr)) return hr;

  const std::vector<std::wstring> addresses = SelectAddresses(storeManager, fragments);
  PrintLine(L"%hs: Checking %d MAPI stores...", kFunction, static_cast<int>(addresses.size()));
  std::vector<HRESULT> results;
  hr = storeManager.LogonToStores(addresses, /*createMode=*/false, /*checkMode=*/true, results);
  if (FAILED(hr)) {
    PrintLine(L"%hs: LogonToStores failed : 0x%x", kFunction, hr);
    return hr;
  }

  hr = ReportResults(addresses, results);
  PrintLine(L"Shutting down stores...");
  return hr;
}

void PrintCheckQsfUsage(const wchar_t* programName) {
  PrintUsage(programName, L" -checkQsf -p profileName [-e email1 email2 ...] [-v]",
             {kProfileOption, kEmailOption, L"\t-c\tRestart controller service, if QSFs are OK.",
              kVerboseOption});
}

int qrvAdminCheckQsf(int argc, wchar_t** argv, const wchar_t* programName) {
  std::wstring profileName;
  std::vector<std::wstring> fragments;
  bool restart = false;
  ReadSwitches(
      argc, argv,
      {{L"-p", &profileName}, {L"-e", &fragments}, {L"-c", &restart}, {L"-v", &VerboseOutput}});
  if (profileName.empty()) {
    PrintCheckQsfUsage(programName);
    return 1;
  }
  const int result =
      RunExclusiveMapiCommand({[&] { return CheckQsf(profileName, fragments); },
                               [&](HRESULT checked) { return SUCCEEDED(checked) && restart; }});
  if (result == 0) PrintLine(L"Done");
  return result;
}

}  // namespace

extern const Command kCheckQsf = {L"-checkQsf", L"Check QSFs for errors", PrintCheckQsfUsage,
                                  qrvAdminCheckQsf};
