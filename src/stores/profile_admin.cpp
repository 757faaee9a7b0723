#include "src/stores/profile_admin.h"

#include "src/console/console.h"

HRESULT OpenProfileAdmin(const char* function, platform::ComPtr<IProfAdmin>& profileAdmin) {
  const HRESULT hr = MAPIAdminProfiles(0, &profileAdmin);
  if (FAILED(hr)) PrintLine(L"%hs: MAPIAdminProfiles failed : 0x%x", function, hr);
  return hr;
}

HRESULT OpenServiceAdmin(IProfAdmin* profileAdmin, const std::wstring& profileName,
                         const char* function, platform::ComPtr<IMsgServiceAdmin>& serviceAdmin) {
  const HRESULT hr = profileAdmin->AdminServices(platform::MapiUnicodeText(profileName.c_str()),
                                                 nullptr, 0, MAPI_UNICODE, &serviceAdmin);
  if (FAILED(hr)) PrintLine(L"%hs: AdminServices failed : 0x%x", function, hr);
  return hr;
}
