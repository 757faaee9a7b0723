#include "src/commands/compact_thread.h"

#include <algorithm>
#include <cstring>

#include "src/console/console.h"
#include "src/platform/mapi.h"
#include "src/stores/profile_admin.h"

namespace {

using platform::ComPtr;

constexpr const char* kFunction = "CompactQsfThread";

// The connector's own: its presence asks the service to compact instead of showing its settings.
constexpr ULONG kPrCompactionRequest = PROP_TAG(PT_OBJECT, 0x6666);

HRESULT Compact(IMsgServiceAdmin* serviceAdmin, const CompactQsfThreadParams& params) {
  MAPIUID serviceUid = {};
  std::memcpy(&serviceUid, params.serviceUid.data(),
              std::min(params.serviceUid.size(), sizeof(serviceUid)));
  SPropValue request = {};
  request.ulPropTag = kPrCompactionRequest;
  // A number where the tag says object: what the connector looks for.
  request.Value.i = 0;
  return serviceAdmin->ConfigureMsgService(&serviceUid,
                                           reinterpret_cast<ULONG_PTR>(params.parentWindow),
                                           SERVICE_UI_ALWAYS, 1, &request);
}

}  // namespace

DWORD WINAPI CompactQsfThread(LPVOID lpvCompactQsfThreadParams) {
  if (!lpvCompactQsfThreadParams) {
    // Kept: "i NULL"; console lines are an interface.
    PrintLine(L"%hs: lpvCompactQsfThreadParams i NULL", kFunction);
    return 0;
  }
  auto& params = *static_cast<CompactQsfThreadParams*>(lpvCompactQsfThreadParams);
  // Kept: released only after MAPI has ended on this thread. The main thread's MAPI keeps them
  // alive.
  ComPtr<IProfAdmin> profileAdmin;
  ComPtr<IMsgServiceAdmin> serviceAdmin;
  // A failure shows in the next call.
  MAPIInitialize(nullptr);
  HRESULT hr = OpenProfileAdmin(kFunction, profileAdmin);
  if (SUCCEEDED(hr)) {
    hr = OpenServiceAdmin(profileAdmin.Get(), params.profileName, kFunction, serviceAdmin);
  }
  // Kept: without MAPIUninitialize, which only a thread that gets to the compaction calls. The
  // process ends MAPI as a whole.
  if (FAILED(hr)) return 0;
  params.result = Compact(serviceAdmin.Get(), params);
  MAPIUninitialize();
  return 0;
}
