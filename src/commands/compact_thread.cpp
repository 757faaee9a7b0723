#include "src/commands/compact_thread.h"

#include <algorithm>
#include <cstring>

#include "src/frontend/console.h"
#include "src/platform/mapi.h"

namespace {

using platform::ComPtr;

constexpr const char* kFunction = "CompactQsfThread";

// The connector's own: its presence asks the service to compact instead of showing its settings.
constexpr ULONG kPrCompactionRequest = PROP_TAG(PT_OBJECT, 0x6666);

HRESULT OpenServiceAdmin(const std::wstring& profileName, ComPtr<IProfAdmin>& profileAdmin,
                         ComPtr<IMsgServiceAdmin>& serviceAdmin) {
  HRESULT hr = MAPIAdminProfiles(0, &profileAdmin);
  if (FAILED(hr)) {
    PrintLine(L"%hs: MAPIAdminProfiles failed : 0x%x", kFunction, hr);
    return hr;
  }
  hr = profileAdmin->AdminServices(platform::MapiUnicodeText(profileName.c_str()), nullptr, 0,
                                   MAPI_UNICODE, &serviceAdmin);
  if (FAILED(hr)) PrintLine(L"%hs: AdminServices failed : 0x%x", kFunction, hr);
  return hr;
}

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
    // Scripts match this line; "i" stays.
    PrintLine(L"%hs: lpvCompactQsfThreadParams i NULL", kFunction);
    return 0;
  }
  auto& params = *static_cast<CompactQsfThreadParams*>(lpvCompactQsfThreadParams);
  ComPtr<IProfAdmin> profileAdmin;
  ComPtr<IMsgServiceAdmin> serviceAdmin;
  MAPIInitialize(nullptr);
  // A thread that gets no further leaves its MAPI initialised.
  if (FAILED(OpenServiceAdmin(params.profileName, profileAdmin, serviceAdmin))) return 0;
  params.result = Compact(serviceAdmin.Get(), params);
  MAPIUninitialize();
  return 0;
}
